#pragma once

#include "ostrel/ErrorServer.h"
#include "tests/support/AllocationFaults.h"

/// One report as it reached the policy, taken apart.
struct Report
{
    Ostrel::Severity severity;
    std::string message; ///< The whole text.
    std::string source;  ///< The base name of the reporting file, without its ending.
    int line;            ///< 0 when the message has no "file:line - " frame.
    std::string text;    ///< What follows " - ".
};

/// Collects all reports of a test. The server owns the policy, so the reports live in a sink that the test owns.
class RecordingPolicy : public Ostrel::ErrorPolicy
{
public:
    struct Sink
    {
        std::mutex mutex;
        std::vector<Report> reports;
    };

    explicit RecordingPolicy(Sink& sink) : _sink(sink) {}
    void fatal(const char* message) override { record(Ostrel::Severity::FATAL, message); }
    void recoverable(const char* message) override { record(Ostrel::Severity::RECOVERABLE, message); }
    void trivial(const char* message) override { record(Ostrel::Severity::TRIVIAL, message); }

private:
    void record(Ostrel::Severity severity, const char* message);

    Sink& _sink;
};

/// Fixture that records reports and, at the end of each test, asserts that none is left that the test did not expect,
/// and no block of memory.
class ReportTest : public testing::Test
{
protected:
    ReportTest();
    ~ReportTest() override;
    void TearDown() override { expectNoReports(); }

    /// Takes the oldest report and compares it. `line` 0 stands for any line.
    void expectReport(Ostrel::Severity severity, const char* source, int line, const char* text);
    void expectFailedCheck(Ostrel::Severity severity, const char* source, int line, const char* condition);
    void expectNoReports();
    std::vector<Report> takeReports();

private:
    static void install(Ostrel::ErrorPolicy* policy);

    RecordingPolicy::Sink _sink;
    long _blocks = 0; ///< What lives before the test.
};
