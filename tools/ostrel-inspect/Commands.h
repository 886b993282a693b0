/// The commands. Each reads its files, shows what it was asked for, and returns what the program ends with.
#pragma once

#include "tools/ostrel-inspect/MapTree.h"
#include "tools/ostrel-inspect/Options.h"

namespace Inspect {

ExitStatus runMap(const Options& options);
ExitStatus runRegistry(const Options& options);
ExitStatus runJson(const Options& options);
ExitStatus runXml(const Options& options);
ExitStatus runDiff(const Options& options);

// What the commands on untrusted bytes show, for the fuzz target too. All append to `out`; what is wrong comes as
// faults.

std::string showMap(const MapTree& map, bool withHex);
std::string showValue(const MapEntry& entry);
std::string showMapAsJson(const MapTree& map, bool withHex);
std::string showRegistry(const Bytes& bytes, ObserverWords observers, Faults* faults);

/// The map as a JSON object with integer keys; what cannot be said in it is a fault.
std::string convertToJson(const MapTree& map, Faults* faults);

/// The externalized form of such an object. False when it is none, which has been told.
bool convertFromJson(const std::string& file, const std::string& text, std::string* form);

/// Whether the file could be read into `*bytes`, from the offset on.
bool readBytes(const std::string& file, uint64_t offset, std::string* storage, Bytes* bytes);

} // namespace Inspect
