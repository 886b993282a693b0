#pragma once

#include <map>
#include <string>

#include "ostrel/AutoPtr.h"
#include "ostrel/DataObject.h"
#include "ostrel/DynamicString.h"
#include "ostrel/Export.h"
#include "ostrel/SAXParser.h"
#include "ostrel/SharedPtr.h"

namespace Ostrel {

/// Grows a `DataObject` tree from the events of an XML document. For JSON use `DataObjectHandler`.
///
///     const char text[] = "<settings><server><port>8080</port></server></settings>";
///     DataObjectSaxHandler handler;
///     SAXParser parser(handler);
///     parser.startDocument();
///     parser.parse(text, strlen(text));
///     parser.endDocument();
///     int port = handler.getRoot()->get("settings").get("server").get("port").convertToInt(80);
///
/// The root is a map with one entry, named after the document element. Every element is a map: of its attributes and
/// of its child elements by name, and of its text under "cdata", without the white space at both ends; all values are
/// texts. The names of a map are equal without regard to letter case, and of two entries with the same name the later
/// one stays, in the spelling of the first. Attributes come first, in the order of their bytes, and the text last.
///
/// Text counts as that of the first element to end after it: in `<a>x<b>y</b>z</a>` that of b is "xy", that of a "z".
/// In the same way the next document takes over the text that a broken one leaves behind.
///
/// At most 15 elements are open at once. A deeper one is refused, while its text counts and its end tag ends one of
/// those around it: what follows lands too far up, and once the root itself has ended so, the next element starts a
/// new tree.
///
/// Units:     texts and names are UTF-8 and end at a NUL byte.
/// Ownership: the handler shares the tree with those who took `getRoot()`; they leave it unchanged until `finished`.
/// Errors:    recoverable reports for elements that are too deep and end tags without an element; a malformed document
///            is reported by the parser. The collected text is a `DynamicString`, with its limit and reports. What
///            finds no memory is missing, which is a fatal report; of a missing element the text is dropped, and its
///            child elements are each reported (fatal "m_ptr") and dropped.
/// Threads:   one handler serves one parser at a time.
class OSTREL_EXPORT DataObjectSaxHandler : public SAXHandler
{
public:
    DataObjectSaxHandler(); ///< The tree is empty until the first element starts.
    DataObjectSaxHandler(const DataObjectSaxHandler&) = delete;
    DataObjectSaxHandler& operator=(const DataObjectSaxHandler&) = delete;

    /// The tree; it stays until the next document starts, and longer for those who share it.
    const SharedPtr<DataObject>& getRoot() const { return _root; }

    void reset(); ///< Lets the tree go and starts one with an empty root. Collected text stays.

    void startElement(const std::string& name, const std::map<std::string, std::string>& attributes) override;
    void endElement(const std::string& name) override; ///< Of the innermost element, whatever `name` says.
    void charData(const std::string& text) override;
    void finished() override;
    bool parseError() override; ///< True: malformed documents are only reported.

private:
    static constexpr int STACK_SIZE = 16;

    /// The text so far, with its length, so that a long one is not measured again for each piece.
    class OSTREL_LOCAL Text : public DynamicString
    {
    public:
        void add(const char* piece); ///< As `growAndAppend`.
        void clear();                ///< The storage stays, for the next element.

    private:
        unsigned int _length = 0; ///< In bytes.
    };

    OSTREL_LOCAL void push(const char* name, AutoPtr<DataObjectMap> element);
    OSTREL_LOCAL void storeText();

    SharedPtr<DataObject> _root;
    DataObjectMap* _stack[STACK_SIZE]; ///< The root and the open elements, null where memory was exhausted.
    int _top;                          ///< Index of the innermost open one, -1 between documents.
    Text _text;
};

} // namespace Ostrel
