#pragma once

#include "json/JsonGen.h"
#include "ostrel/AutoPtr.h"
#include "ostrel/CreateMixins.h"
#include "ostrel/Export.h"
#include "ostrel/TextSerializer.h"

namespace json {

/// Turns the calls of a `StructBuilder` into compact JSON (RFC 8259). The calls are those of `TextSerializer`.
///
/// To write JSON without anything that describes itself use `JsonGen`. As there, collections nest 15 deep, and doubles
/// depend on the locale.
///
///     Ostrel::AutoPtr<Ostrel::DataObject> tree = Ostrel::DataObject::parse("{'speed': 12}");
///     json::JsonSerializer serializer;
///     tree->serialize(serializer);
///     serializer.nullTerminateData();
///     if (serializer.isOk())
///         puts(serializer.getData());
///
/// Units:     integers keep their 64 bits; `getDataLength` is bytes, without the terminator.
/// Errors:    as `TextSerializer`: ask `isOk` and `getErrorString` at the end; misuse is reported as recoverable.
class OSTREL_EXPORT JsonSerializer : public Ostrel::TextSerializer<JsonGen>,
                                     public Ostrel::CreateMixins<JsonSerializer, Ostrel::AutoPtr<Ostrel::Serializer>>
{
public:
    JsonSerializer();
    ~JsonSerializer() override;
};

} // namespace json

extern template class Ostrel::TextSerializer<json::JsonGen>;
