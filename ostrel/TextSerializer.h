#pragma once

#include "ostrel/AutoPtr.h"
#include "ostrel/Export.h"
#include "ostrel/Serializer.h"

namespace Ostrel {

struct MisuseSites;

/// What the serializers have in common: the calls of a `StructBuilder` drive a generator of structured text.
///
/// Not used by itself: see `json::JsonSerializer` and `xml::XmlSerializer`.
///
/// `add(key, serializable)` keeps its key for the next keyless call, whoever makes it. A keyed call while a key is
/// still pending is a misuse: it writes nothing and is reported as recoverable; a serializable is then written all the
/// same, under the older key. Only `map(key)` and `end()` do not look at the pending key.
///
/// Collections nest as deep as the generator allows: 15 levels. Values that describe themselves nest 1,000 deep; a
/// deeper one is a misuse too, "Serializable nested too deep", and is not asked to describe itself.
///
/// Ownership: the text belongs to the serializer and lives until its next operation; a pending key is borrowed until
///            a keyless call takes it.
/// Errors:    see `isOk` and `getErrorString`; an object that found no memory for its generator is not OK and ignores
///            all calls.
template <class Generator>
class OSTREL_EXPORT TextSerializer : public Serializer
{
public:
    ~TextSerializer() override;

    /// The last misuse; without one, null while `isOk()` and else the generator's status.
    const char* getErrorString() const override;
    void reset() override;      ///< Of the text only: a misuse and a pending key outlive it.
    bool isOk() const override; ///< No misuse, and the generator is OK.

    /// All as in `StructBuilder`.
    StructBuilder& map(const char* key) override;
    StructBuilder& map() override;
    StructBuilder& list(const char* key) override;
    StructBuilder& list() override;
    StructBuilder& end() override;

    /// All as in `StructBuilder`.
    StructBuilder& add(const char* key, const Serializable& value) override;
    StructBuilder& add(const Serializable& value) override;
    // A generator of 64 bits gets all integers through the `long long` forms, another one through the `int` forms.
    StructBuilder& add(const char* key, int value) override;
    StructBuilder& add(const char* key, long long value) override;
    StructBuilder& add(int value) override;
    StructBuilder& add(long long value) override;
    StructBuilder& add(const char* key, double value) override;
    StructBuilder& add(const char* key, double value, unsigned char digits) override;
    StructBuilder& add(double value) override; ///< 6 digits behind the point, as in the keyed form without digits.
    StructBuilder& add(double value, unsigned char digits) override;
    StructBuilder& add(const char* key, const char* value) override; ///< Null is written as "(null)".
    StructBuilder& add(const char* value) override;                  ///< Null is ignored; a pending key stays.
    StructBuilder& add(const char* key, bool value) override;
    StructBuilder& add(bool value) override;
    StructBuilder& add(const char* key, NullType value) override;
    StructBuilder& add(NullType value) override;

    const char* getData() const override; ///< Not terminated before `nullTerminateData()`; null before the first byte.
    unsigned int getDataLength() const override; ///< Without that NUL.
    void nullTerminateData();                    ///< Puts a NUL behind the text, which is not counted.

protected:
    /// For the serializers of the library, which alone name the sites of their reports.
    OSTREL_LOCAL explicit TextSerializer(const MisuseSites& sites);

private:
    OSTREL_LOCAL const char* takePendingKey();
    OSTREL_LOCAL bool refuseKeyed(int line, const char* text);
    OSTREL_LOCAL void refuse(int line, const char* text);
    OSTREL_LOCAL bool refuseTooDeep();
    // `inline` hides them; clang does not see OSTREL_LOCAL on templates inside of templates.
    template <class... Value>
    inline StructBuilder& addKeyed(int line, const char* misuse, const char* key, Value... value);
    template <class... Value>
    inline StructBuilder& addKeyless(Value... value);

    AutoPtr<Generator> _generator; ///< Null when memory was exhausted.
    const char* _pendingKey;
    const char* _errorText;
    const MisuseSites& _sites;
    unsigned int _level; ///< How many values describe themselves right now, one inside the other.
};

} // namespace Ostrel
