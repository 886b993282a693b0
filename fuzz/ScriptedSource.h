#pragma once

#include <climits>
#include <vector>

#include "fuzz/Judge.h"
#include "ostrel/InputStream.h"

/// Answers as the script has it, and writes its answers down.
class ScriptedSource : public Ostrel::InputStream
{
public:
    struct Answer
    {
        int count;
        std::string bytes;
    };

    ScriptedSource(Choices& script, std::string data) : _script(script), _data(std::move(data)) {}

    int read(unsigned char* buffer, unsigned int size) override
    {
        static const int LIES[] = {-1, INT_MIN, 0, INT_MAX};
        const unsigned int kind = _script.below(32);
        const size_t count = kind == 0 ? 0 : std::min<size_t>(size, kind < 20 ? kind : 4096);
        std::string bytes = _data.substr(std::min(_position, _data.size()), count);
        _position += bytes.size();
        const int claim = kind < 28 || bytes.empty() ? static_cast<int>(bytes.size()) : LIES[kind - 28];
        if (claim == INT_MAX)
            bytes.resize(size, ' ');
        std::copy(bytes.begin(), bytes.end(), buffer);
        answers.push_back({claim, claim > 0 ? bytes : ""});
        return claim;
    }

    const char* getErrorString() const override { return nullptr; }

    /// All that was delivered.
    std::string getDelivered() const
    {
        std::string bytes;
        for (const Answer& answer : answers)
            bytes += answer.bytes;
        return bytes;
    }

    bool hasFailed() const { return !answers.empty() && answers.back().count < 0; }

    /// Whether nothing was asked behind the first answer without data.
    bool isAskedUpToEnd() const
    {
        const auto end =
            std::find_if(answers.begin(), answers.end(), [](const Answer& each) { return each.count <= 0; });
        return answers.end() - end <= 1;
    }

    std::vector<Answer> answers;

private:
    Choices& _script;
    const std::string _data;
    size_t _position = 0;
};
