#pragma once

#include "json/JsonError.h"
#include "ostrel/AutoPtr.h"
#include "ostrel/CreateMixins.h"
#include "ostrel/Deserializer.h"
#include "ostrel/Export.h"

namespace json {

/// The `Deserializer` for JSON: passes the events of a `JsonParser` on to a stack of handlers.
///
/// A handler that returns another one from `objectStart` or `arrayStart` hands the contents of that collection to it;
/// the matching end comes back to the one that handed it out. From inside an event a handler may also `parse` another
/// stream: its events go to the handler of the inner call, and the outer document then goes on.
///
///     Ostrel::ByteArrayInputStream stream("{\"port\": 8080}");
///     Ostrel::DataObjectHandler handler;
///     json::JsonDeserializer deserializer;
///     if (deserializer.parse(stream, handler) != 0)
///         printf("line %llu: %s\n", deserializer.getError().line, deserializer.getError().getText());
///
/// Numbers are read as by `JsonParser`, with its word on the locale.
///
/// Units:     8 handlers at most: one for each parse in progress, one for each collection handed over. Each parse in
///            progress takes 64 KiB of stack.
/// Ownership: streams and handlers stay the caller's; a handler handed out lives until the end of its collection.
/// Errors:    as `Deserializer`, with the texts of `JsonParser`. Reported as fatal: a null handler, and a ninth entry
///            on the stack. A parse refused for it gives -1, with the texts "Invalid handler" and "Too many handlers";
///            a collection handed over for it goes to the handler that has its start.
class OSTREL_EXPORT JsonDeserializer
    : public Ostrel::Deserializer,
      public Ostrel::CreateMixins<JsonDeserializer, Ostrel::AutoPtr<Ostrel::Deserializer>>
{
public:
    JsonDeserializer();
    ~JsonDeserializer() override;

    /// A null `input` is no misuse: the result is -1 with "Invalid data source".
    int parse(Ostrel::WeakPtr<Ostrel::InputStream> input, Ostrel::WeakPtr<Handler> handler) override;

    /// Why the last parse to end failed; null when it did not.
    const char* getErrorString() const override;

    /// Why exactly, and where in the stream of that parse.
    JsonError getError() const;

private:
    class Impl;

    Ostrel::AutoPtr<Impl> _impl; ///< Null when memory was exhausted: then every parse fails with "Out of memory".
};

} // namespace json
