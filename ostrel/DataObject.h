#pragma once

#include <cstdarg>
#include <string>

#include "ostrel/ArrayList.h"
#include "ostrel/AutoPtr.h"
#include "ostrel/DynamicLookupTable.h"
#include "ostrel/DynamicString.h"
#include "ostrel/Export.h"
#include "ostrel/Serializable.h"
#include "ostrel/WeakPtr.h"

namespace Ostrel {

/// A node of a tree of typed values: an integer, a text, a null, a list, a map, or the marker of a missing value.
///
/// A query on the wrong kind answers with the caller's default `d`, and a lookup that misses gives a shared
/// `InvalidDataObject`, so a chain of lookups always leads to an answer:
///
///     int getPort(const DataObject& root)
///     {
///         return root.get("servers").get(0).get("port").toInt(80);
///     }
///
/// One answer is not the caller's default: a text that could not be stored (see `createString`) reads as null, and a
/// parser that meets such a text goes on. Where texts come from outside, test `toString` for null too.
///
/// Parsers build trees (`DataObjectHandler`), and so does a format, which lists a tree's values in the manner of
/// printf:
///
///     AutoPtr<DataObject> request = DataObject::parse("{'name': %s, 'ids': [1, 2, %d]}", "pump", 3);
///
/// `docs/format-strings.md` explains the format language. A tree writes itself into any `StructBuilder` with
/// `serialize`.
///
/// Trees are freed and copied to any depth with the same small stack. What goes through them by recursion takes up to
/// half a KiB of stack a level and ends at 1,000 levels, which is reported (recoverable): formats, dumps, and
/// `serialize` into a serializer or a `DataObjectBuilder`. A builder of your own sets its own bound. Derived
/// kinds are freed and copied by their own destructor and `clone`, which take stack for each level.
///
/// Appending to a list, and setting the keys of a map in their order, cost the same at every size. `set` of a new key
/// and `unset` move all children behind the place, so a large map whose keys come in any order takes time with the
/// square of its size.
///
/// Ownership: containers own their children. An `AutoPtr` argument is taken over whatever the result; a child that
///            cannot be stored is destroyed. `get` returns a reference that stays the container's, or the process's for
///            a miss: never delete or change that one. Keys are copied.
/// Errors:    codes as told below; reports for null builders and children (fatal "m_ptr") and for negative list
///            indexes (recoverable "index < _size"). Factories return an empty pointer when memory is exhausted.
class OSTREL_EXPORT DataObject : public Serializable
{
public:
    /// Walks the children of a container. The base one is empty; it is what scalars give.
    ///
    ///     void printKeys(const DataObject& node)
    ///     {
    ///         for (AutoPtr<DataObject::DataObjectIterator> it = node.iterator(); it->hasCurrent(); it->next())
    ///             printf("%s\n", it->key());
    ///     }
    ///
    /// The container must outlive it. A change of the container may skip or repeat a child, but never dangles. The same
    /// holds for a container whose children change it while it is written, copied or printed; only the child that is
    /// visited, and its key, must stay.
    class OSTREL_EXPORT DataObjectIterator
    {
    public:
        DataObjectIterator() = default;
        virtual ~DataObjectIterator();
        DataObjectIterator(const DataObjectIterator&) = delete;
        DataObjectIterator& operator=(const DataObjectIterator&) = delete;

        virtual bool hasCurrent() const;   ///< False past the end.
        virtual void next();               ///< Stays past the end once there.
        virtual DataObject& value() const; ///< Past the end, the shared invalid object.
        virtual const char* key() const;   ///< The map's stored key; null in a list and past the end.
    };

    /// A node with this number.
    static AutoPtr<DataObject> createInt(long long value);

    /// A node with a copy of `text`; null counts as empty. A text that cannot be copied (more than 262,143 bytes and
    /// its terminator, or no memory) is reported (fatal "RC_OK == growAndAssign(orig)") and leaves a node whose text is
    /// null.
    static AutoPtr<DataObject> createString(const char* text);
    static AutoPtr<DataObject> createString(const ReadableString& text);

    /// The value that `format` starts with, built from the arguments behind it; what follows the value is ignored. An
    /// empty pointer when there is none. A list is read as far as it goes, while a map with a fault is no value; most
    /// faults are reported (recoverable). The compiler checks the arguments as it does for printf, so it warns of a
    /// percent sign inside a quoted text: pass such a text through %s.
    [[gnu::format(printf, 1, 2)]] static AutoPtr<DataObject> parse(const char* format, ...);
    /// As `parse`, for those who hold their arguments in a `va_list`.
    [[gnu::format(printf, 1, 0)]] static AutoPtr<DataObject> vparse(const char* format, va_list arguments);

    DataObject() = default;
    DataObject(const DataObject&) = delete;
    DataObject& operator=(const DataObject&) = delete;
    ~DataObject() override;

    const char* getTypeName() const override; ///< "DataObject" for every kind.
    void serialize(WeakPtr<StructBuilder> builder) const override;

    virtual AutoPtr<DataObjectIterator> iterator() const; ///< The caller owns it; empty when memory is exhausted.

    /// All of the `to` family answer only for their own kind; those of the `convertTo` family also parse texts.
    virtual int toInt(int d) const;                    ///< The low 32 bits of an integer.
    virtual long long toInt64(long long d) const;      ///< An integer.
    virtual float toFloat(float d) const;              ///< An integer, rounded where a float cannot hold it.
    virtual const char* toString(const char* d) const; ///< A text lives as long as its node; null if not stored.

    /// An integer's low 32 bits; of a text the decimal number that it is as a whole, clamped to the range of int.
    virtual int convertToInt(int d) const;
    /// A text or a number in decimal. Throws std::logic_error for a text that was not stored, and for a null `d` where
    /// that is what is copied.
    virtual std::string convertToStdString(const char* d) const;
    /// Whether a number is not 0; of a text "true", "yes", "on", "false", "no", "off" in any letter case, or a number.
    virtual bool convertToBool(bool d) const;

    virtual bool isNull() const;              ///< Of a null node, and of the invalid object too.
    virtual bool isValid() const;             ///< False of the invalid object only.
    virtual int getNumChildren() const;       ///< 0 for what is no container.
    virtual bool has(int index) const;        ///< A negative index counts as present in a list.
    virtual bool has(const char* key) const;  ///< False on what is no map.
    virtual DataObject& get(int index) const; ///< A negative index of a list is reported and gives its last child.
    virtual DataObject& get(const char* key) const; ///< The invalid object on what is no map.

    /// 0, -1 when this is not a list, 2 when the list cannot grow. An empty pointer is stored as a missing child, which
    /// reads as the invalid object; a plain `nullptr` is a format that gives no value, and ends the same.
    virtual int append(AutoPtr<DataObject> child);
    /// A deep copy. Without memory a container's is empty, and a scalar throws bad_alloc, also from inside one.
    virtual AutoPtr<DataObject> clone() const = 0;
    /// 0, -1 when this is not a map, the map cannot grow or `key` is null. An equal key keeps its first spelling.
    virtual int set(const char* key, AutoPtr<DataObject> child);
    virtual AutoPtr<DataObject> unset(const char* key); ///< Hands the child back; empty when there is none.
    virtual AutoPtr<DataObject> unset(int index);       ///< The same for a list.
    /// 0, -1 when this is not a list or has no such child: a list grows through `append` only.
    virtual int set(int index, AutoPtr<DataObject> child);

    /// All as above, with the value of a format, as `parse` reads it. One that gives no value stores a missing child.
    [[gnu::format(printf, 2, 3)]] int append(const char* format, ...);
    [[gnu::format(printf, 3, 4)]] int set(const char* key, const char* format, ...);
    [[gnu::format(printf, 3, 4)]] int set(int index, const char* format, ...);

    virtual const unsigned char* binaryValue() const; ///< Null: no kind holds bytes.
    virtual unsigned int binaryLength() const;        ///< Bytes; 0.

    /// All dump to standard output, for debugging; `depth` and `n` are the tabs in front of a line.
    virtual void print() const = 0;
    virtual void print(const char* label) const; ///< A line with `label`, empty if that is null, then the dump.
    virtual void internalPrint(int depth) const = 0;
    virtual void printTabs(int n) const;
};

/// A signed 64-bit number.
class OSTREL_EXPORT IntegerDataObject : public DataObject
{
public:
    explicit IntegerDataObject(long long value) : _value(value) {}

    /// The decimal number at the start of `text`, after white space; what follows it is ignored. An
    /// `InvalidDataObject` when there is none, and for both ends of the 64-bit range, which stand for overflow.
    static AutoPtr<DataObject> create(const char* text);

    void serialize(WeakPtr<StructBuilder> builder) const override;
    int toInt(int d) const override;
    long long toInt64(long long d) const override;
    float toFloat(float d) const override;
    int convertToInt(int d) const override;
    std::string convertToStdString(const char* d) const override;
    bool convertToBool(bool d) const override;
    AutoPtr<DataObject> clone() const override;
    using DataObject::print;
    void print() const override;
    void internalPrint(int depth) const override;

private:
    long long _value;
};

/// A text.
class OSTREL_EXPORT StringDataObject : public DataObject
{
public:
    explicit StringDataObject(const ReadableString& text) : _text(text) {}

    void serialize(WeakPtr<StructBuilder> builder) const override;
    const char* toString(const char* d) const override;
    int convertToInt(int d) const override;
    std::string convertToStdString(const char* d) const override;
    bool convertToBool(bool d) const override;
    AutoPtr<DataObject> clone() const override;
    using DataObject::print;
    void print() const override;
    void internalPrint(int depth) const override;

private:
    DynamicString _text;
};

/// A null.
class OSTREL_EXPORT NullDataObject : public DataObject
{
public:
    void serialize(WeakPtr<StructBuilder> builder) const override;
    bool isNull() const override;
    AutoPtr<DataObject> clone() const override;
    using DataObject::print;
    void print() const override;
    void internalPrint(int depth) const override;
};

/// A value that is not there. Serializes to nothing.
class OSTREL_EXPORT InvalidDataObject : public DataObject
{
public:
    bool isNull() const override;
    bool isValid() const override;
    AutoPtr<DataObject> clone() const override;
    using DataObject::print;
    void print() const override;
    void internalPrint(int depth) const override;
};

/// Children in order.
///
/// A derived class may override what reads and changes children, but `serialize`, `clone`, dumps and the destructor go
/// by the children that are stored here. One that keeps its children elsewhere overrides those too.
class OSTREL_EXPORT DataObjectList : public DataObject
{
public:
    /// Walks a list.
    class OSTREL_EXPORT ListIterator : public DataObjectIterator
    {
    public:
        explicit ListIterator(const DataObjectList& list) : _index(0), _list(list) {}
        bool hasCurrent() const override;
        void next() override;
        DataObject& value() const override;

    private:
        unsigned int _index;
        const DataObjectList& _list;
    };

    ~DataObjectList() override;

    using DataObject::append;
    using DataObject::get;
    using DataObject::has;
    using DataObject::print;
    using DataObject::set;
    using DataObject::unset;
    void serialize(WeakPtr<StructBuilder> builder) const override;
    AutoPtr<DataObjectIterator> iterator() const override;
    int getNumChildren() const override;
    bool has(int index) const override;
    DataObject& get(int index) const override;
    int append(AutoPtr<DataObject> child) override;
    AutoPtr<DataObject> clone() const override;
    AutoPtr<DataObject> unset(int index) override;
    int set(int index, AutoPtr<DataObject> child) override;
    void print() const override;
    void internalPrint(int depth) const override;

private:
    friend class DataObjectCollection;

    DynamicArrayList<DataObject*, 8> _children;
};

/// Children by key. Keys are equal without regard to letter case (`strcasecmp`) and come in that order. For derived
/// classes the same holds as for those of `DataObjectList`.
class OSTREL_EXPORT DataObjectMap : public DataObject
{
public:
    /// Walks a map in the order of its keys.
    class OSTREL_EXPORT MapIterator : public DataObjectIterator
    {
    public:
        explicit MapIterator(const DataObjectMap& map) : _map(map), _cursor(0) {}
        bool hasCurrent() const override;
        void next() override;
        DataObject& value() const override;
        const char* key() const override;

    private:
        const DataObjectMap& _map;
        unsigned int _cursor;
    };

    ~DataObjectMap() override;

    using DataObject::get;
    using DataObject::has;
    using DataObject::print;
    using DataObject::set;
    using DataObject::unset;
    void serialize(WeakPtr<StructBuilder> builder) const override;
    AutoPtr<DataObjectIterator> iterator() const override;
    int getNumChildren() const override;
    bool has(const char* key) const override;
    DataObject& get(const char* key) const override;
    AutoPtr<DataObject> clone() const override;
    int set(const char* key, AutoPtr<DataObject> child) override;
    AutoPtr<DataObject> unset(const char* key) override;
    void print() const override;
    void internalPrint(int depth) const override;

private:
    friend class DataObjectCollection;

    using Table = DynamicLookupTable<DataObject*, const char*, LessOperator<const char*>>;

    Table _table;
};

} // namespace Ostrel
