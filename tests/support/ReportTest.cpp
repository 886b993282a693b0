#include "tests/support/ReportTest.h"

#include "tests/support/Waiting.h"

using namespace Ostrel;

namespace {

Report takeApart(Severity severity, const std::string& message)
{
    Report report{severity, message, "", 0, message};
    const size_t dash = message.find(" - ");
    const size_t colon = message.rfind(':', dash);
    if (dash == std::string::npos || colon == std::string::npos)
        return report;

    const std::string file = message.substr(0, colon);
    const size_t base = file.rfind('/') == std::string::npos ? 0 : file.rfind('/') + 1;
    report.source = file.substr(base, file.rfind('.') - base);
    report.line = atoi(message.c_str() + colon + 1);
    report.text = message.substr(dash + 3);
    return report;
}

} // namespace

void RecordingPolicy::record(Severity severity, const char* message)
{
    const AllocationFaults::Pause pause; // what a test keeps is not what it makes fail
    std::lock_guard<std::mutex> lock(_sink.mutex);
    _sink.reports.push_back(takeApart(severity, message));
    errno = 0; // as a real policy may leave it
}

void ReportTest::install(ErrorPolicy* policy)
{
    Singleton<ErrorServer>::getInstance()->setPolicy(AutoPtr<ErrorPolicy>(policy));
}

ReportTest::ReportTest()
{
    {
        SCOPED_TRACE("the first one of all keeps some memory");
    }
    Singleton<ErrorServer>::getInstance();
    _blocks = AllocationFaults::getLiveBlocks();
    install(new RecordingPolicy(_sink));
}

/// Once the members of the test's own class have gone.
ReportTest::~ReportTest()
{
    install(new ErrorServer::DefaultPolicy);
    if (HasFailure() || IsSkipped()) // which take memory
        return;
#ifndef __SANITIZE_ADDRESS__ // which finds them itself, and keeps some of its own
    // Objects that delete themselves on other threads may be about to.
    EXPECT_TRUE(eventually([&] { return AllocationFaults::getLiveBlocks() == _blocks; })) << "blocks are left";
#endif
}

void ReportTest::expectReport(Severity severity, const char* source, int line, const char* text)
{
    std::lock_guard<std::mutex> lock(_sink.mutex);
    if (_sink.reports.empty()) {
        ADD_FAILURE() << "no report, expected: " << text;
        return;
    }
    const Report report = _sink.reports.front();
    _sink.reports.erase(_sink.reports.begin());
    EXPECT_EQ(report.severity, severity) << report.message;
    EXPECT_EQ(report.source, source) << report.message;
    EXPECT_EQ(report.text, text) << report.message;
    EXPECT_TRUE(line == 0 || report.line == line) << report.message << ", expected line " << line;
}

void ReportTest::expectFailedCheck(Severity severity, const char* source, int line, const char* condition)
{
    expectReport(severity, source, line, ("test '" + std::string(condition) + "' failed").c_str());
}

void ReportTest::expectNoReports()
{
    for (const Report& report : takeReports())
        ADD_FAILURE() << "unexpected report: " << report.message;
}

std::vector<Report> ReportTest::takeReports()
{
    std::lock_guard<std::mutex> lock(_sink.mutex);
    return std::move(_sink.reports);
}
