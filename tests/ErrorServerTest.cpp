#include "ostrel/ErrorServer.h"

#include "ostrel/Report.h"
#include "tests/support/ReportTest.h"

using namespace Ostrel; // NOLINT(google-build-using-namespace): a test of the whole family

namespace {

ErrorServer& getServer()
{
    return *Singleton<ErrorServer>::getInstance();
}

/// Writes down fatal reports only, and reports once more while it is destroyed.
class LastWordsPolicy : public ErrorServer::DefaultPolicy
{
public:
    explicit LastWordsPolicy(std::string& log) : _log(log) {}
    ~LastWordsPolicy() override { getServer().trivial("last %s", "words"); }
    void fatal(const char* message) override { _log += message; }

private:
    std::string& _log;
};

} // namespace

using ErrorServerTest = ReportTest;

TEST_F(ErrorServerTest, FormatsAndCutsMessages)
{
    getServer().fatal("%s:%d - 'syscall errno: %d'", "a.cpp", 7, 4);
    expectReport(Severity::FATAL, "a", 7, "'syscall errno: 4'");

    const char* noFormat = nullptr;
    getServer().recoverable("%s", std::string(1500, 'x').c_str());
    getServer().trivial(noFormat, 0); // right behind the long one, where its text still lies
    expectReport(Severity::RECOVERABLE, "", 0, std::string(1023, 'x').c_str());
    expectReport(Severity::TRIVIAL, "", 0, "");
}

TEST_F(ErrorServerTest, ChecksAreEvaluatedOnceAndYieldTheirResult)
{
    int count = 0;
    EXPECT_TRUE(OSTREL_CHECK(FATAL, "never seen", ++count == 1));
    EXPECT_FALSE(OSTREL_CHECK_AT(RECOVERABLE, 42, "index < _size", ++count == 1));
    EXPECT_EQ(count, 2);
    const std::vector<Report> reports = takeReports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].message, "tests/ErrorServerTest.cpp:42 - test 'index < _size' failed");

    OSTREL_REPORT_AT(TRIVIAL, 9, "duplicate key: '%s'", "k");
    expectReport(Severity::TRIVIAL, "ErrorServerTest", 9, "'duplicate key: 'k''");
}

TEST_F(ErrorServerTest, PolicyIsReplacedAndTheOldOneDestroyedAtOnce)
{
    std::string log;
    RecordingPolicy::Sink sink;
    getServer().setPolicy(AutoPtr<ErrorPolicy>(new LastWordsPolicy(log)));
    getServer().setPolicy(AutoPtr<ErrorPolicy>()); // replaces nothing
    getServer().fatal("x");
    getServer().recoverable("y");
    getServer().trivial("z");
    EXPECT_EQ(log, "x");
    getServer().setPolicy(AutoPtr<ErrorPolicy>(new RecordingPolicy(sink)));
    ASSERT_EQ(sink.reports.size(), 1u) << "the old policy's destructor reports into the new one";
    EXPECT_EQ(sink.reports[0].message, "last words");
    getServer().setPolicy(AutoPtr<ErrorPolicy>(new ErrorServer::DefaultPolicy));
}

TEST_F(ErrorServerTest, ServerWithoutAPolicyReportsItselfAndDropsTheRest)
{
    getServer(); // the failing server tells the one that is there
    AllocationFaults faults(AllocationFaults::FAIL_ONE, 0);
    faults.arm();
    ErrorServer server;
    faults.disarm();
    expectFailedCheck(Severity::FATAL, "ErrorServer", 73, "_policy");
    server.fatal("dropped");
    ErrorServer().fatal("dropped by the default policy");
}

TEST_F(ErrorServerTest, ReportsComeFromSeveralThreadsAtOnce)
{
    const auto report = [] {
        for (int i = 0; i < 100; ++i)
            OSTREL_REPORT(TRIVIAL, "%d", i);
    };
    std::thread other(report);
    report();
    other.join();
    EXPECT_EQ(takeReports().size(), 200u);
}
