#pragma once

#include "ostrel/AutoPtr.h"
#include "ostrel/CreateMixins.h"
#include "ostrel/Export.h"
#include "ostrel/TextSerializer.h"
#include "xml/XmlGen.h"

namespace xml {

/// Turns the calls of a `StructBuilder` into XML 1.0. The calls are those of `TextSerializer`, the text and its limits
/// those of `XmlGen`.
///
/// To write XML without anything that describes itself use `XmlGen`.
///
///     Ostrel::AutoPtr<Ostrel::DataObject> tree = Ostrel::DataObject::parse("{'speed': 12}");
///     xml::XmlSerializer serializer;
///     tree->serialize(serializer);
///     serializer.nullTerminateData(); // not every text ends in a NUL: a scalar's, or where memory ran out
///     if (serializer.isOk())
///         puts(serializer.getData());
///
/// Doubles are accepted and write nothing. XML parsers take the text only if the outermost map has one member, and if
/// keys and texts are as `XmlGen` says.
///
/// Units:     integers keep their low 32 bits; `getDataLength` is bytes and counts the NUL that ends the document.
/// Errors:    as `TextSerializer`: ask `isOk` and `getErrorString` at the end; misuse is reported as recoverable.
///            `reset` starts a new text but forgives nothing: after a misuse the serializer is not OK for good, and a
///            key that is pending goes to the first keyless call of the new text.
class OSTREL_EXPORT XmlSerializer : public Ostrel::TextSerializer<XmlGen>,
                                    public Ostrel::CreateMixins<XmlSerializer, Ostrel::AutoPtr<Ostrel::Serializer>>
{
public:
    XmlSerializer();
    ~XmlSerializer() override;
};

} // namespace xml

extern template class Ostrel::TextSerializer<xml::XmlGen>;
