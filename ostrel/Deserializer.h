#pragma once

#include "ostrel/ErrorReporter.h"
#include "ostrel/Export.h"
#include "ostrel/InputStream.h"
#include "ostrel/WeakPtr.h"

namespace Ostrel {

/// Reads a document from a stream and tells a handler what is in it.
///
///     ByteArrayInputStream stream("{\"port\": 8080}");
///     DataObjectHandler handler;
///     json::JsonDeserializer deserializer;
///     if (deserializer.parse(stream, handler) != 0)
///         puts(deserializer.getErrorString());
///
/// Errors:    `parse` gives -1 and `getErrorString()` the reason, which is then never null. Lack of memory in a handler
///            is the handler's to tell: `parse` gives 0, and the handler may have nothing.
class OSTREL_EXPORT Deserializer : public ErrorReporter
{
public:
    /// Receives what the document holds. Override what matters; every default does nothing, except that 64-bit
    /// integers arrive through the `int` form as their low 32 bits. A handler that overrides only one of the two
    /// forms brings the other back with `using Handler::onInteger;`, and one whose `int` form forwards to the
    /// `long long` form must override that one too: the defaults would call each other for ever.
    ///
    /// Each value comes with the deserializer that found it and with its key, which is null in a list and at the top.
    /// Keys and texts are borrowed for the call. A document may stop in the middle, without its end events.
    ///
    /// A handler may throw anything, and its thread may be cancelled inside it: the document ends there, without
    /// further events, and the exception comes out of `parse`. The deserializer can be used again. `getErrorString()`
    /// stays that of the parse that ended before.
    class OSTREL_EXPORT Handler
    {
    public:
        virtual ~Handler();

        virtual void reset(); ///< Called before each document.
        /// All tell one value.
        virtual void onInteger(WeakPtr<Deserializer> deserializer, const char* key, int value);
        virtual void onInteger(WeakPtr<Deserializer> deserializer, const char* key, long long value);
        virtual void onDouble(WeakPtr<Deserializer> deserializer, const char* key, double value);
        virtual void onString(WeakPtr<Deserializer> deserializer, const char* key, const char* value);
        virtual void onBoolean(WeakPtr<Deserializer> deserializer, const char* key, bool value);
        virtual void onNull(WeakPtr<Deserializer> deserializer, const char* key);

        /// Null: this handler receives the contents too. Otherwise the handler returned receives them, up to the
        /// matching end, which comes here again. It stays the caller's and lives at least that long.
        virtual Handler* arrayStart(WeakPtr<Deserializer> deserializer, const char* key);
        virtual void arrayEnd(WeakPtr<Deserializer> deserializer); ///< Comes to whoever got the `arrayStart`.
        virtual Handler* objectStart(WeakPtr<Deserializer> deserializer, const char* key); ///< As `arrayStart`.
        virtual void objectEnd(WeakPtr<Deserializer> deserializer);                        ///< As `arrayEnd`.
    };

    ~Deserializer() override;

    /// Calls `handler.reset()`, then reads the whole document. 0 on success, -1 on failure.
    virtual int parse(WeakPtr<InputStream> input, WeakPtr<Handler> handler) = 0;
};

} // namespace Ostrel
