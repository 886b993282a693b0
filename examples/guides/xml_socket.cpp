// Reads XML messages from a socket as they come, and knows why it stopped: all was said, the other side is silent, the
// connection failed, or a document was malformed or cut.
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ostrel/DataObjectSaxHandler.h"
#include "ostrel/FdInputStream.h"
#include "ostrel/SAXParser.h"
#include "ostrel/XmlStreamFilter.h"

using namespace Ostrel;

namespace {

const unsigned int PATIENCE_SECONDS = 1;

/// One document after the other, until one of them is <bye/>. Closes the socket.
bool readMessages(int socket)
{
    FdInputStream stream(socket, true);
    stream.setTimeOut(PATIENCE_SECONDS); // of silence: each byte that comes starts it again
    DataObjectSaxHandler handler;
    SAXParser parser(handler);
    // Without the options a cut document is a success, and a message waits for the 4096 bytes that a read asks for.
    XmlStreamFilter filter(stream, parser, XmlStreamFilter::REFUSE_MALFORMED | XmlStreamFilter::STOP_AT_ROOT_END);

    while (filter.start() == 0) {
        const SharedPtr<DataObject> root = handler.getRoot();
        if (!root)
            return false;
        if (root->has("bye"))
            return true;
        const DataObject& reading = root->get("reading"); // attributes and children by name, the text under "cdata"
        printf("%s: %d\n", reading.get("sensor").toString("?"), reading.get("cdata").convertToInt(0));
    }
    if (stream.hasTimedOut())
        printf("nothing came for %u s\n", PATIENCE_SECONDS);
    else if (stream.getErrorString() != nullptr)
        puts("the connection failed");
    else
        printf("%llu:%llu: %s\n", parser.getError().line, parser.getError().column, parser.getError().text);
    return false;
}

enum Ending { CLOSE, STAY_SILENT };

/// The other side, in a process of its own.
void sendMessages(int socket, const char* text, Ending ending)
{
    for (; *text != '\0'; ++text) {
        if (send(socket, text, 1, MSG_NOSIGNAL) != 1) // in the smallest pieces there are
            return;
    }
    char answer;
    if (ending == STAY_SILENT && recv(socket, &answer, 1, 0) > 0) // waits until this side hangs up
        return;
}

bool converse(const char* text, Ending ending)
{
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0)
        return false;
    fflush(stdout); // or both would have what waits to be written
    const pid_t child = fork();
    if (child == 0) {
        close(sockets[0]);
        sendMessages(sockets[1], text, ending);
        _exit(0);
    }
    close(sockets[1]);
    const bool isDone = readMessages(sockets[0]);
    return child > 0 && waitpid(child, nullptr, 0) == child && isDone;
}

} // namespace

int main()
{
    const bool isDone =
        converse("<reading sensor='inlet'>21</reading>\n<reading sensor='outlet'>35</reading><bye/>", STAY_SILENT);
    const bool isCutDone = converse("<reading sensor='inlet'>22</reading><reading sensor='ou", CLOSE);
    const bool isSilentDone = converse("<reading sensor='inlet'>23</reading><reading sensor='ou", STAY_SILENT);
    const bool isBadDone = converse("<reading sensor='inlet'>24</writing>", STAY_SILENT);
    return isDone && !isCutDone && !isSilentDone && !isBadDone ? 0 : 1;
}
