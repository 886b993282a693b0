#pragma once

#include <cstddef>
#include <cstdint>

#include "ostrel/Export.h"
#include "ostrel/property_map_types.h"

/// Typed key/value map that lives entirely inside one buffer of the caller.
///
/// The object is only a pointer to that buffer, so a map is built in one process, handed on as plain bytes and wrapped
/// again in another. For other byte orders there is the externalized form (`externalize`, `initialize`), for a map that
/// owns its memory `DynamicPropertyMap`, for C `ostrel/property_map.h`. Both byte formats are in
/// `docs/property-map-format.md`.
///
///     enum { VOLUME = 1, TITLE = 2 };
///     unsigned char buffer[256];
///     PropertyMap map(buffer, sizeof(buffer));
///     map.insert(VOLUME, 7);
///     map.insert(TITLE, "Aria");
///     int volume = 0;
///     if (map.get(VOLUME, &volume) == PM_RC_OK)
///         printf("%d\n", volume);
///
/// Units:     sizes, lengths and offsets are bytes. An entry costs 8 bytes besides its value, and keys outside
///            0..0x00FFFFFF cost 4 more for integers and floats.
/// Ownership: the buffer stays the caller's, at any address, aligned or not; the heap is never touched, except by
///            `isWellFormed`. Returned pointers point into the buffer and hold until the next change of the map.
/// Errors:    a `PropertyMap_ReturnCode`; a refused insert or set leaves every byte as it was. What is found wrong on
///            the way stops the process: a size word outside 8..0x00FFFFFF, a key table behind the end or below the
///            values, an unknown type. Other broken bytes are not noticed, so what another process wrote goes through
///            `isWellFormed` or `isWellFormedExternalized` first. Pointers and maps given must not be null unless a
///            function says otherwise.
/// Threads:   not synchronized, nor between processes that share the buffer: a change is many writes. Keep readers out
///            while one is made.
class OSTREL_EXPORT PropertyMap
{
public:
    /// One entry of the key table as it lies in the buffer.
    struct KeyValuePair
    {
        unsigned char bytes[8]; ///< As `docs/property-map-format.md` has them.
    };

    class Iterator;

    /// Wraps a buffer that holds a map, or will before it is used; nothing is read.
    explicit PropertyMap(unsigned char* buffer) : _buffer(buffer) {}

    /// Formats the buffer as an empty map. The value area is not cleared.
    PropertyMap(unsigned char* buffer, unsigned int size);

    /// A second view of the same buffer.
    PropertyMap(const PropertyMap& other) = default;
    PropertyMap& operator=(const PropertyMap&) = delete;
    virtual ~PropertyMap();

    /// Whether the bytes can be used as a map without any operation leaving them: header, entries strictly in order,
    /// values inside the value area and apart from each other, texts terminated, nested maps likewise and at most
    /// `MAX_CHECKED_DEPTH` deep. The map may be smaller than `size`. Never reads outside, whatever another process
    /// writes meanwhile; but then the answer says nothing about the bytes that are there afterwards. Where others can
    /// still write, copy first and check the copy. Maps with more than 32 KB of values take an eighth of a byte from
    /// the heap for each byte of those, released again; where it is refused, the check takes longer.
    static bool isWellFormed(const unsigned char* buffer, unsigned int size);

    /// Whether the bytes begin with a complete externalized form, its keys strictly in order, which `initialize` can
    /// read into a buffer of `externalizedSize` bytes. That may be more than the records need; the rest stays free.
    /// Then `*consumed` (which may be null) is the form's length.
    static bool isWellFormedExternalized(const unsigned char* data, unsigned int length, unsigned int* consumed);

    /// How deep maps may nest in what the two checks accept, since every level costs the readers stack.
    static constexpr unsigned int MAX_CHECKED_DEPTH = 64;

    /// All of these: PM_RC_KEY_EXISTS, then PM_RC_NO_SPACE.
    PropertyMap_ReturnCode insert(int key, int value);
    PropertyMap_ReturnCode insert(int key, bool value);
    PropertyMap_ReturnCode insert(int key, float value);
    PropertyMap_ReturnCode insert(int key, double value);
    PropertyMap_ReturnCode insert(int key, const char* text);
    PropertyMap_ReturnCode insert(int key, const unsigned char* data, unsigned int length);
    /// The other map's whole buffer is copied, free space included.
    PropertyMap_ReturnCode insert(int key, const PropertyMap& other);
    /// Binary data or a nested map, as `type` says. Null data reserves the bytes without clearing them. Other types are
    /// not refused, and their entries then hold what is no value of theirs: do not give them.
    PropertyMap_ReturnCode insert(int key, const unsigned char* data, unsigned int length, PropertyMap_ValueType type);
    PropertyMap_ReturnCode insert(int key, const void* pointer) = delete; // would become a boolean

    /// All of these: PM_RC_KEY_NOT_FOUND, PM_RC_TYPE_MISMATCH (a key keeps its type), then for those whose size may
    /// grow PM_RC_NO_SPACE. The data must not lie inside this map.
    PropertyMap_ReturnCode set(int key, int value);
    PropertyMap_ReturnCode set(int key, bool value);
    PropertyMap_ReturnCode set(int key, float value);
    PropertyMap_ReturnCode set(int key, double value);
    PropertyMap_ReturnCode set(int key, const char* text);
    PropertyMap_ReturnCode set(int key, const unsigned char* data, unsigned int length);
    PropertyMap_ReturnCode set(int key, const PropertyMap& other);
    PropertyMap_ReturnCode set(int key, const unsigned char* data, unsigned int length, PropertyMap_ValueType type);
    PropertyMap_ReturnCode set(int key, const void* pointer) = delete; // would become a boolean

    /// All of these: PM_RC_KEY_NOT_FOUND, PM_RC_TYPE_MISMATCH. A failure leaves the outputs alone, except that the two
    /// that give a reference set it to null and its length to 0.
    PropertyMap_ReturnCode get(int key, int* value) const;
    PropertyMap_ReturnCode get(int key, bool* value) const;
    PropertyMap_ReturnCode get(int key, float* value) const;
    PropertyMap_ReturnCode get(int key, double* value) const;
    /// Copies the text, always terminated; the rest of `dest` becomes zero. `destSize` counts the terminator and is at
    /// least 1. PM_RC_BUFFER_TOO_SMALL: the beginning that fits was copied.
    PropertyMap_ReturnCode get(int key, char* dest, unsigned int destSize) const;
    PropertyMap_ReturnCode get(int key, const char** ref) const;
    /// Binary data or a nested map. PM_RC_BUFFER_TOO_SMALL: nothing was copied.
    PropertyMap_ReturnCode get(int key, unsigned char* dest, unsigned int destSize, unsigned int* length) const;
    PropertyMap_ReturnCode get(int key, const unsigned char** ref, unsigned int* length) const;

    /// The same for an entry of this map, without the search.
    PropertyMap_ReturnCode get(const KeyValuePair* entry, int* value) const;
    PropertyMap_ReturnCode get(const KeyValuePair* entry, bool* value) const;
    PropertyMap_ReturnCode get(const KeyValuePair* entry, float* value) const;
    PropertyMap_ReturnCode get(const KeyValuePair* entry, double* value) const;
    PropertyMap_ReturnCode get(const KeyValuePair* entry, char* dest, unsigned int destSize) const;
    PropertyMap_ReturnCode get(const KeyValuePair* entry, const char** ref) const;
    PropertyMap_ReturnCode get(const KeyValuePair* entry, unsigned char* dest, unsigned int destSize,
                               unsigned int* length) const;
    PropertyMap_ReturnCode get(const KeyValuePair* entry, const unsigned char** ref, unsigned int* length) const;

    /// The bytes of the value and of its entry are cleared.
    PropertyMap_ReturnCode removeKey(int key);
    void removeAll(); ///< Clears no bytes.

    bool hasKey(int key) const;
    PropertyMap_ReturnCode getKeyType(int key, PropertyMap_ValueType* type) const; ///< PM_RC_KEY_NOT_FOUND.
    /// Keys in ascending order. PM_RC_BUFFER_TOO_SMALL: those that fit were written; `*numKeys` counts these.
    PropertyMap_ReturnCode getAllKeys(int* keys, unsigned int maxKeys, unsigned int* numKeys) const;
    PropertyMap_ReturnCode getStringBufferSize(int key, unsigned int* size) const; ///< Counts the terminator.
    /// The same for an entry.
    PropertyMap_ReturnCode getStringBufferSize(const KeyValuePair* entry, unsigned int* size) const;
    PropertyMap_ReturnCode getBinaryDataBufferSize(int key, unsigned int* size) const; ///< Also of nested maps.
    /// The same for an entry.
    PropertyMap_ReturnCode getBinaryDataBufferSize(const KeyValuePair* entry, unsigned int* size) const;
    unsigned int getNumEntries() const;
    uint32_t getSize() const; ///< Of the whole buffer.
    uint32_t getEmptySpace() const;
    uint32_t getUnusedSpace() const; ///< The empty space, with that of nested maps.

    Iterator begin() const; ///< At the lowest key.
    Iterator end() const;
    Iterator getIterator(int key) const; ///< `end()` when the key is absent.

    /// Copies the whole buffer, free space included, and returns `getSize()`. For hosts of the same byte order only.
    unsigned int serialize(unsigned char* dest) const;
    unsigned int serialize(const unsigned char** data) const; ///< The buffer itself.

    /// Writes the form that hosts of any byte order read and returns its length, 0 when it does not fit (`dest` may
    /// hold a part then). With null `dest` only the length that is needed.
    unsigned int externalize(unsigned char* dest, unsigned int destSize) const;

    /// The buffer size that `initialize` needs for the form at `data`.
    static unsigned int externalizedSize(const unsigned char* data);

    /// Replaces the content by that of the form at `*cursor`, which moves behind what was read. Keys may come in any
    /// order; ascending is fastest, and `isWellFormedExternalized` accepts no other. PM_RC_BUFFER_TOO_SMALL: this
    /// buffer is smaller than the form asks for; the map is empty. PM_RC_TYPE_MISMATCH: an unknown type; the map is
    /// empty. PM_RC_KEY_EXISTS, PM_RC_NO_SPACE: the form contradicts itself; the entries before that stay. What a
    /// nested form fails with is the code here too; the entries before it and the nested map's own stay. The form's end
    /// is not known: one that is cut off is read beyond, and a nested size outside 8..0x00FFFFFF stops the process.
    /// Check forms from outside.
    PropertyMap_ReturnCode initialize(const unsigned char** cursor);

    void printContent() const; ///< Every entry and the overhead, on standard output.

    /// All about the buffer format, for diagnosis and tests.
    uint32_t getKeyTableOffset() const;
    void setKeyTableOffset(uint32_t offset);
    const KeyValuePair* getKeyTableEntry() const; ///< The first entry; those of higher keys follow.
    uint32_t getBufferEnd() const;                ///< Where the free space begins.
    uint32_t getValueSize(PropertyMap_ValueType type, unsigned int offset) const;
    int findKey(int key) const; ///< Index in the key table, or -1.
    static int getKey(const KeyValuePair* entry);
    static PropertyMap_ValueType getValueType(const KeyValuePair* entry);
    static uint32_t getValueOffset(const KeyValuePair* entry);
    static bool isOffsetStored(const KeyValuePair* entry); ///< Whether the value lies in the value area.

protected:
    unsigned char* _buffer; ///< Never null.

private:
    class FormReader;

    struct InsertionPoint
    {
        unsigned int index;   // in the key table
        uint32_t valueOffset; // the end of the value area
    };

    enum Adjustment { INCREASE, DECREASE };

    template <class Value>
    OSTREL_LOCAL PropertyMap_ReturnCode insertPrimitiveValue(int key, Value value, PropertyMap_ValueType type);
    template <class Value>
    OSTREL_LOCAL PropertyMap_ReturnCode getPrimitiveValue(const KeyValuePair* entry, PropertyMap_ValueType type,
                                                          Value* value) const;
    template <class Value>
    OSTREL_LOCAL PropertyMap_ReturnCode setPrimitiveValue(int key, PropertyMap_ValueType type, Value value);

    OSTREL_LOCAL KeyValuePair* entryAt(unsigned int index) const;
    OSTREL_LOCAL PropertyMap getNestedMap(const KeyValuePair* entry) const;
    OSTREL_LOCAL PropertyMap_ReturnCode findEntryOfType(int key, PropertyMap_ValueType type,
                                                        KeyValuePair** entry) const;
    OSTREL_LOCAL PropertyMap_ReturnCode getInsertionPoint(int key, uint64_t valueSize, InsertionPoint* point) const;
    OSTREL_LOCAL void insertKeyEntryTable(unsigned int index, int key, PropertyMap_ValueType type, uint32_t value);
    OSTREL_LOCAL PropertyMap_ReturnCode resizeValue(const KeyValuePair* pair, uint64_t newSize);
    OSTREL_LOCAL uint32_t adjustOffset(uint32_t valueOffset, uint32_t by, Adjustment adjustment);
    OSTREL_LOCAL static void resetOffset(KeyValuePair* pair, uint32_t offset);
    OSTREL_LOCAL unsigned int getFormLength() const;
    OSTREL_LOCAL unsigned int writeForm(unsigned char* dest, unsigned int destSize, uint32_t* usedSize) const;
    OSTREL_LOCAL void printEntry(const KeyValuePair* entry) const;
    OSTREL_LOCAL void writeBinaryValue(uint32_t offset, const unsigned char* data, unsigned int length);
};

/// Walks the entries of a `PropertyMap` in the order of their keys.
///
///     void printKeysOfIntegers(const PropertyMap& map)
///     {
///         for (PropertyMap::Iterator i = map.begin(); i != map.end(); ++i) {
///             if (i.getType() == PM_TYPE_INT)
///                 printf("%d\n", i.getKey());
///         }
///     }
///
/// Ownership: points into the map and its buffer; dead after any change of the map.
/// Errors:    `get` gives the map's codes; the end has no entry to ask for.
class OSTREL_EXPORT PropertyMap::Iterator
{
public:
    Iterator(const PropertyMap* map, const KeyValuePair* entry) : _map(map), _entry(entry) {}

    Iterator& operator++();
    Iterator operator++(int);
    Iterator& operator--();
    Iterator operator--(int);
    bool operator==(const Iterator& other) const { return _entry == other._entry; }
    bool operator!=(const Iterator& other) const { return _entry != other._entry; }

    int getKey() const { return PropertyMap::getKey(_entry); }
    PropertyMap_ValueType getType() const { return PropertyMap::getValueType(_entry); }

    /// Of the value itself: 1 for a boolean, with the terminator for text, without the length word for bytes.
    unsigned int getDataSize() const;

    /// Every `get` that the map has for an entry.
    template <class Value>
    PropertyMap_ReturnCode get(Value* value) const
    {
        return _map->get(_entry, value);
    }
    PropertyMap_ReturnCode get(char* dest, unsigned int destSize) const { return _map->get(_entry, dest, destSize); }
    PropertyMap_ReturnCode get(unsigned char* dest, unsigned int destSize, unsigned int* length) const
    {
        return _map->get(_entry, dest, destSize, length);
    }
    PropertyMap_ReturnCode get(const unsigned char** ref, unsigned int* length) const
    {
        return _map->get(_entry, ref, length);
    }

private:
    const PropertyMap* _map;
    const KeyValuePair* _entry;
};
