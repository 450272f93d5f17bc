// The doctor's findings, as the tool tells them.

#include <chrono>
#include <filesystem>
#include <fstream>

#include "client/tool/ToolFixture.h"
#include "client/tool/file_paths.h"

namespace fs = std::filesystem;

namespace {

using namespace zeltool;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class DoctorTest : public ToolTest {
  protected:
    // Puts a file where a host leaves what remains of its failure, written so many seconds after 2026 began.
    std::string leave(const std::string& name, const std::string& content, int seconds = 0) const {
        using namespace std::chrono;
        fs::create_directories(folder / "temporary");
        std::string file = path("temporary/" + name);
        std::ofstream(file, std::ios::binary) << content;
        const auto at = sys_days(year(2026) / 1 / 1) + std::chrono::seconds(seconds);
        fs::last_write_time(file, file_clock::from_sys(at));
        return file;
    }
    std::string report(const std::string& place) const {
        return "Version: 0.1.0.0\nException Type: EXCEPTION_ACCESS_VIOLATION\nCrashed Thread: 7\n" + place + ";x+0x1;";
    }
};

TEST_F(DoctorTest, FindsAHostThatWorks) {
    EXPECT_EQ(run({"doctor"}), 0) << out << err;
    EXPECT_THAT(out, AllOf(HasSubstr("host answers"), HasSubstr("model 3, 640x360"), Not(HasSubstr("FAILED"))));
    EXPECT_EQ(run({"doctor", "--json"}), 0);
    EXPECT_THAT(out, StartsWith("[\n  {\"check\":\"host program\",\"verdict\":\"ok\""));
}

TEST_F(DoctorTest, TellsWhatIsWrong) {
    EXPECT_EQ(run({"doctor", "--host", path("nohost")}), 4);
    EXPECT_THAT(out, AllOf(HasSubstr("FAILED"), HasSubstr("nohost")));
    EXPECT_EQ(run({"doctor"}, "quit=127,noise=1"), 4);
    EXPECT_THAT(out, AllOf(HasSubstr("ended with code 127"), HasSubstr("noise on stderr")));
    EXPECT_EQ(run({"doctor", "--timeout", "2000"}, "fail-every=1"), 4);
    EXPECT_THAT(out, HasSubstr("no mask"));
}

TEST_F(DoctorTest, FindsNoCrashes) {
    leave("zelhost_crash.txt", report("another+0x1"));
    EXPECT_EQ(run({"doctor"}), 0) << out << err;
    EXPECT_THAT(out, HasSubstr("ok      crashes              none has left a report\n"));
}

TEST_F(DoctorTest, ListsTheNewestFiveCrashes) {
    for (int crash = 1; crash <= 7; ++crash)
        leave("zelhost_crash_1_2_" + std::to_string(crash) + ".txt", report("zelhost+0x" + std::to_string(crash)),
              3600 + crash);
    leave("zelhost_crash_1_2_7.dmp", "MDMP", 3600);
    leave("zelhost_crash_1_2_8.dmp", "MDMP", 3600 + 8);
    EXPECT_EQ(run({"doctor"}), 0) << out << err;
    EXPECT_THAT(out, HasSubstr("note    crashes              8 left behind"));
    size_t last = 0;
    for (const std::string line : {":08 UTC  no report  ", ":07 UTC  EXCEPTION_ACCESS_VIOLATION at zelhost+0x7  ",
                                   ":06 UTC  ", ":05 UTC  ", ":04 UTC  "}) {
        const size_t at = out.find("2026-01-01 01:00" + line);
        ASSERT_NE(at, std::string::npos) << line << out;
        EXPECT_GT(at, last) << out;
        last = at;
    }
    EXPECT_THAT(out, AllOf(HasSubstr("zelhost_crash_1_2_7.txt  "), HasSubstr("zelhost_crash_1_2_7.dmp\n"),
                           Not(HasSubstr("01:00:03"))));
    EXPECT_EQ(run({"doctor", "--json"}), 0);
    EXPECT_THAT(out, HasSubstr("{\"check\":\"crashes\",\"verdict\":\"note\",\"text\":\"8 left behind; docs/crash.md "
                               "reads them\",\"lines\":[\"2026-01-01 01:00:08 UTC  no report  "));
    EXPECT_THAT(out, EndsWith("zelhost_crash_1_2_4.txt\"]}\n]\n"));
}

TEST_F(DoctorTest, TrustsNoReport) {
    leave("zelhost_crash_1_2_1.txt", std::string("\x1b[31m\0\xff garbage", 15), 1);
    leave("zelhost_crash_1_2_2.txt", "Version: \nException Type: a\x1b[31mb\xc3\xa4\r\nCrashed Thread: \n\x07+0x1;", 2);
    // What lies far behind the beginning is not read.
    leave("zelhost_crash_1_2_3.txt", std::string(5000, 'x') + "\nException Type: far\n" + std::string(64 << 20, 'x'),
          3);
    leave("zelhost_crash_1_2_4.txt", "1\nException Type: " + std::string(1 << 20, 'y'), 4);
    fs::create_directories(folder / "temporary" / "zelhost_crash_1_2_5.txt");
    EXPECT_EQ(run({"doctor"}), 0) << out << err;
    EXPECT_THAT(out, AllOf(HasSubstr("4 left behind"), HasSubstr(":01 UTC  its report makes no sense"),
                           HasSubstr(":02 UTC  a?[31mb?? at ?+0x1  "), HasSubstr(":03 UTC  its report makes no sense"),
                           HasSubstr(":04 UTC  " + std::string(80, 'y') + " at a place that it does not tell  ")));
    EXPECT_LT(out.size(), 4000u);
}

TEST_F(DoctorTest, HostThatCannotBeExecutedLeavesNothingBehind) {
    EXPECT_EQ(run({"doctor", "--host", path("me.png")}), 4);
    EXPECT_THAT(out, HasSubstr("FAILED  host answers"));
    EXPECT_THAT(namesIn("temporary"), IsEmpty());
    EXPECT_EQ(run({"doctor"}), 0) << out << err;
    EXPECT_THAT(namesIn("temporary"), IsEmpty());
}

TEST_F(DoctorTest, MissingTemporaryFolderIsAFinding) {
    temporary = path("nowhere");
    EXPECT_EQ(run({"doctor", "--json"}), 4) << err;
    EXPECT_THAT(out, AllOf(HasSubstr("{\"check\":\"host answers\",\"verdict\":\"failed\",\"text\":\""),
                           HasSubstr("temporary folder"), EndsWith("}\n]\n")));
    EXPECT_THAT(err, IsEmpty());
}

TEST_F(DoctorTest, ResultsOfEveryCheckAreOneArray) {
    EXPECT_EQ(run({"doctor", "--json"}, "quit=3"), 4);
    EXPECT_THAT(out, AllOf(StartsWith("[\n"), EndsWith("}\n]\n")));
}

}  // namespace
