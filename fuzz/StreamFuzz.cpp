// A source that gives less than it is asked for, nothing, an error, or claims more, as a script has it: buffered
// streams deliver what a plain replay of the source's answers gives.
#include <memory>
#include <vector>

#include "fuzz/Judge.h"
#include "fuzz/ScriptedSource.h"
#include "fuzz/SlowJsonReader.h"
#include "ostrel/BufferedInputStream.h"
#include "ostrel/BufferedOutputStream.h"
#include "tests/support/JsonEventLog.h"

namespace {

/// What the read of a buffered stream gives, by the answers that its source gave meanwhile.
int replay(const std::vector<ScriptedSource::Answer>& answers, std::string& buffered, size_t size, std::string& read)
{
    read.clear();
    size_t used = 0;
    while (read.size() < size) {
        if (buffered.empty()) {
            require(used < answers.size());
            const ScriptedSource::Answer& answer = answers[used++];
            if (answer.count < 0) {
                require(used == answers.size());
                return -1;
            }
            if (answer.count == 0)
                break;
            buffered = answer.bytes;
        }
        const size_t count = std::min(size - read.size(), buffered.size());
        read += buffered.substr(0, count);
        buffered.erase(0, count);
    }
    require(used == answers.size());
    return static_cast<int>(read.size());
}

template <unsigned int N>
void checkBuffered(Choices& script, const std::string& data)
{
    ScriptedSource source(script, data);
    Ostrel::BufferedInputStream<N> stream(&source);
    std::string buffered;
    std::string expected;
    for (unsigned int steps = script.below(32); steps > 0; --steps) {
        const unsigned int size = script.below(40);
        const std::unique_ptr<unsigned char[]> block(new unsigned char[size]);
        source.answers.clear();
        const int count = stream.read(block.get(), size);
        require(count == replay(source.answers, buffered, size, expected));
        require(count < 0 || expected == std::string(block.get(), block.get() + count));
    }
}

/// A document ends where its source does.
void checkParser(Choices& script, const std::string& data)
{
    ScriptedSource source(script, data);
    JsonEventLog log;
    json::JsonParser parser(&log);
    const bool isUnbuffered = script.below(2) == 1;
    const int result = isUnbuffered ? parser.parseUnbuffered(&source) : parser.parse(&source);
    const std::string document = source.getDelivered();
    JsonEventLog expected;
    json::JsonError error = SlowJsonReader(document, expected).read();
    if (source.hasFailed() && error.reason != json::JsonError::NONE && error.offset == document.size())
        error.reason = json::JsonError::SOURCE_FAILED;
    require(source.isAskedUpToEnd());
    require(log.text == expected.text && result == (error.reason == json::JsonError::NONE ? 0 : -1));
    require(parser.getError().reason == error.reason && parser.getError().offset == error.offset);
}

class RecordingTarget : public Ostrel::OutputStream
{
public:
    RecordingTarget(Choices& script, std::vector<std::string>& writes) : _script(script), _writes(writes) {}
    int write(const unsigned char* data, unsigned int size) override
    {
        _writes.emplace_back(data, data + size);
        return _script.below(4) == 3 ? -1 : static_cast<int>(size); // is lost on the one that writes
    }
    int flush() override
    {
        _writes.emplace_back("flush");
        return 7;
    }
    const char* getErrorString() const override { return nullptr; }

private:
    Choices& _script;
    std::vector<std::string>& _writes;
};

void checkOutput(Choices& script)
{
    std::vector<std::string> writes;
    std::vector<std::string> expected;
    std::string held;
    const auto release = [&] {
        if (!held.empty())
            expected.insert(expected.end(), {held, "flush"});
        held.clear();
    };
    {
        const unsigned int size = script.below(32);
        Ostrel::BufferedOutputStream stream(
            Ostrel::SharedPtr<Ostrel::OutputStream>(new RecordingTarget(script, writes)), size);
        for (unsigned int steps = script.below(32); steps > 0; --steps) {
            const std::string text = script.bytes(script.below(20));
            if (text.size() == 19) {
                require(stream.flush() == (held.empty() ? 0 : 7));
                release();
                continue;
            }
            const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
            require(stream.write(bytes, static_cast<unsigned int>(text.size())) == static_cast<int>(text.size()));
            if (held.size() + text.size() >= size) {
                release();
                expected.push_back(text);
            } else {
                held += text;
            }
            require(writes == expected);
        }
    }
    release();
    require(writes == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Choices choices(data, size);
    const std::string scriptBytes = choices.bytes(choices.below(256));
    const std::string text = choices.bytes(size);
    Choices script(reinterpret_cast<const uint8_t*>(scriptBytes.data()), scriptBytes.size());
    checkBuffered<1>(script, text);
    checkBuffered<7>(script, text);
    checkBuffered<64>(script, text);
    checkOutput(script);
    checkParser(script, text);
    return 0;
}
