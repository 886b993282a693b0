// A tree as XML, and what does not come through: see xml/XmlGen.h.
#include <cstdio>

#include "ostrel/DataObject.h"
#include "xml/XmlSerializer.h"

namespace {

void print(const Ostrel::Serializable& object)
{
    xml::XmlSerializer serializer;
    object.serialize(serializer);
    serializer.nullTerminateData(); // behind the NUL that ends the document and counts
    if (!serializer.isOk()) {
        printf("%s\n", serializer.getErrorString());
        return;
    }
    printf("%s (%u bytes)\n", serializer.getData(), serializer.getDataLength());
}

/// A reading has a fraction, which a tree does not hold.
class Reading : public Ostrel::Serializable
{
public:
    const char* getTypeName() const override { return "Reading"; }
    void serialize(Ostrel::WeakPtr<Ostrel::StructBuilder> builder) const override
    {
        builder->map().add("sensor", "inlet").add("celsius", 21.5, 1).end();
    }
};

} // namespace

int main()
{
    print(*Ostrel::DataObject::parse("{'server': {'host': 'gateway.local', 'port': 8080}}"));
    // Markup in a text goes out as it is, and what reads this takes it for an element.
    print(*Ostrel::DataObject::parse("{'note': 'x < y & <b>z</b>', 'path': 'C:\\temp'}"));
    // The members of a list have its name only when they are maps.
    print(*Ostrel::DataObject::parse("{'port': [8080, 8081]}"));
    print(*Ostrel::DataObject::parse("{'route': [{'to': 'lan'}]}"));
    print(Reading());
}
