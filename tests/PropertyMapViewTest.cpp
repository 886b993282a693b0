#include "ostrel/PropertyMapView.h"

#include <sys/mman.h>

#include "ostrel/property_map.h"
#include "tests/support/PropertyMapSample.h"
#include "tests/support/TestIncludes.h"

extern "C" int readConstantBytes(const uint8_t* bytes); // property_map_calls.c

static_assert(!std::is_convertible_v<PropertyMapView*, PropertyMap*> &&
                  !std::is_constructible_v<PropertyMap, PropertyMapView> &&
                  !std::is_constructible_v<PropertyMap, const unsigned char*>,
              "whoever has constant bytes has nothing that could change them");

TEST(PropertyMapViewTest, PagesThatCannotBeWrittenAreReadFromCppAndC)
{
    const PropertyMapSample sample;
    const unsigned int size = sample.map.getSize();
    void* const page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    sample.map.serialize(static_cast<unsigned char*>(page));
    ASSERT_EQ(mprotect(page, size, PROT_READ), 0); // from here on a write stops the test
    const unsigned char* const bytes = static_cast<const unsigned char*>(page);

    ASSERT_TRUE(PropertyMapView::isWellFormed(bytes, size));
    const PropertyMapView view(bytes);
    unsigned char form[sizeof(PropertyMapSample::FORM)];
    ASSERT_EQ(view.externalize(form, sizeof(form)), sizeof(form));
    EXPECT_EQ(memcmp(form, PropertyMapSample::FORM, sizeof(form)), 0);
    EXPECT_EQ(view.getUnusedSpace(), sample.map.getUnusedSpace());
    view.printContent();

    int value = 0;
    char text[3];
    const unsigned char* nested = nullptr;
    unsigned int length = 0;
    EXPECT_EQ(view.getIterator(1).get(&value) + view.get(5, text, sizeof(text)), PM_RC_OK);
    EXPECT_TRUE(value == 258 && strcmp(text, "hi") == 0);
    ASSERT_EQ(view.get(7, &nested, &length), PM_RC_OK);
    EXPECT_TRUE(PropertyMapView(nested).hasKey(9));
    EXPECT_EQ(readConstantBytes(bytes), 0) << "line of property_map_calls.c";
    munmap(page, size);
}

TEST(PropertyMapViewDeathTest, TheFunctionThatWritesThroughConstantHandlesRefusesThoseOfConstantBytes)
{
    unsigned char bytes[200];
    PropertyMap(bytes, sizeof(bytes));
    const uint8_t* form = PropertyMapSample::FORM;
    EXPECT_DEATH(property_map_initialize(property_map_attach_const(bytes), &form), "Assertion `!isConstant.map.'");
}

TEST(PropertyMapStorageTest, EachKindOfEntryFitsExactly)
{
    static const struct
    {
        unsigned int size;
        PropertyMap_ReturnCode (*insert)(PropertyMap& map);
    } KINDS[] = {{PM_STORAGE(PM_ENTRY_BOOL), [](PropertyMap& map) { return map.insert(-1, true); }},
                 {PM_STORAGE(PM_ENTRY_INT), [](PropertyMap& map) { return map.insert(0x00FFFFFF, 1); }},
                 {PM_STORAGE(PM_ENTRY_INT_WITH_LONG_KEY), [](PropertyMap& map) { return map.insert(0x01000000, 1); }},
                 {PM_STORAGE(PM_ENTRY_FLOAT), [](PropertyMap& map) { return map.insert(0, 1.0f); }},
                 {PM_STORAGE(PM_ENTRY_FLOAT_WITH_LONG_KEY), [](PropertyMap& map) { return map.insert(-1, 1.0f); }},
                 {PM_STORAGE(PM_ENTRY_DOUBLE), [](PropertyMap& map) { return map.insert(-1, 1.0); }},
                 {PM_STORAGE(PM_ENTRY_STRING(4)), [](PropertyMap& map) { return map.insert(-1, "text"); }},
                 {PM_STORAGE(PM_ENTRY_BINARY(3)), [](PropertyMap& map) { return map.insert(-1, nullptr, 3); }},
                 {PM_STORAGE(PM_ENTRY_PROPERTY_MAP(PM_STORAGE(PM_ENTRY_INT))), [](PropertyMap& map) {
                      unsigned char inner[PM_STORAGE(PM_ENTRY_INT)];
                      return map.insert(-1, PropertyMap(inner, sizeof(inner)));
                  }}};
    for (const auto& kind : KINDS) {
        SCOPED_TRACE(kind.size);
        unsigned char buffer[64];
        PropertyMap full(buffer, kind.size);
        EXPECT_EQ(kind.insert(full), PM_RC_OK);
        EXPECT_EQ(full.getEmptySpace(), 0u);
        PropertyMap small(buffer, kind.size - 1);
        EXPECT_EQ(kind.insert(small), PM_RC_NO_SPACE);
    }
}
