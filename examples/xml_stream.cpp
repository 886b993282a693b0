// Documents that come one after the other on one socket become trees, in whatever pieces they arrive. One that is
// malformed or too large is told and the next one read, and so is a connection that ends inside a document.
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include "json/JsonSerializer.h"
#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/ErrorServer.h"
#include "ostrel/SAXParser.h"
#include "ostrel/SocketPair.h"
#include "ostrel/XmlSegment.h"

#include "FirstReport.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): an example reads better without prefixes

namespace {

std::string report; ///< The first one about the document at hand.

bool sendDocuments(int socket)
{
    static const char DOCUMENTS[] =
        "<reading sensor='inlet'>21.5</reading>\n"
        "<reading sensor='a > b'><!-- </reading> -->19<unit/></reading>\n"
        "<?xml version='1.0' encoding='ISO-8859-1'?><place>K\xFC"
        "che</place>\n"
        "<!DOCTYPE order [<!ENTITY dish 'Soup'>]><order>&dish; and bread</order>\n"
        "<order><dish></order></dish>\n"
        "<order>Soup, bread, fish, rice, cheese, fruit, cake, ice cream, coffee, and all that once more</order>\n"
        "<order>Tea</order>\n"
        "<order>Wat";
    const size_t length = strlen(DOCUMENTS);
    return write(socket, DOCUMENTS, length) == static_cast<ssize_t>(length) && shutdown(socket, SHUT_WR) == 0;
}

/// The document as a tree, which goes out as JSON.
void show(SAXParser& parser, const DataObjectSaxHandler& handler, const char* document, unsigned int length)
{
    report.clear();
    parser.startDocument();
    parser.parse(document, length);
    parser.endDocument();
    if (!report.empty()) {
        puts(report.c_str());
        return;
    }
    json::JsonSerializer serializer;
    handler.getRoot()->serialize(serializer);
    serializer.nullTerminateData();
    puts(serializer.isOk() ? serializer.getData() : serializer.getErrorString());
}

/// All documents that are complete by now.
void showDocuments(XmlSegment& segment, SAXParser& parser, const DataObjectSaxHandler& handler)
{
    const char* document;
    unsigned int length;
    for (int code; (code = segment.next(document, length)) != XmlSegment::RC_NEED_MORE;) {
        printf("byte %3llu: ", static_cast<unsigned long long>(segment.getPosition()));
        if (code == XmlSegment::RC_OK)
            show(parser, handler, document, length);
        else
            puts(code == XmlSegment::RC_TOO_LARGE ? "too large" : "refused");
    }
}

} // namespace

int main()
{
    Singleton<ErrorServer>::getInstance()->setPolicy(AutoPtr<ErrorPolicy>(new FirstReport(report)));
    const SocketPair sockets;
    if (!sendDocuments(sockets.getSocket(1)))
        return 1;

    DataObjectSaxHandler handler;
    SAXParser parser(handler);
    char buffer[96];
    XmlSegment segment(buffer, sizeof(buffer), nullptr, XmlSegment::KEEP);
    ssize_t count = 0;
    do {
        unsigned int room;
        char* const space = segment.getFreeSpace(room);
        count = read(sockets.getSocket(0), space, room);
        if (count > 0)
            segment.commit(static_cast<unsigned int>(count));
        showDocuments(segment, parser, handler);
    } while (count > 0);
    puts(segment.isBetweenElements() ? "ended" : "ended inside a document");
    return count == 0 ? 0 : 1;
}
