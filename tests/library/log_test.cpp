#include <util/log.h>

#include <cstdarg>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "test_support.h"

namespace {

// One call of the system logger as the library made it.
struct SyslogCall {
    int priority;
    std::string format;
    std::string argument;  // the first variadic argument, read as a C string
};

std::vector<SyslogCall> syslog_calls;

}  // namespace

// Takes the place of the C library's syslog for the whole process: the
// executable's exported definition comes first in symbol lookup, so the
// logging library's calls land here (the project builds with hidden
// visibility, hence the attribute). The argument is read only when the format
// is the expected "%s\n"; any other format is recorded without reading one.
extern "C" __attribute__((visibility("default"))) void syslog(int priority, char const* format,
                                                              ...) {
    std::string const expected = "%s\n";
    std::string argument = "(not read)";
    if (format != nullptr && format == expected) {
        std::va_list arguments;
        va_start(arguments, format);
        char const* text = va_arg(arguments, char const*);
        va_end(arguments);
        argument = text != nullptr ? text : "(null)";
    }
    syslog_calls.push_back({priority, format != nullptr ? format : "(null)", argument});
}

namespace {

using vexa::log::ErrorLog;
using vexa::log::LOG_LEVEL;
using vexa::log::LOG_OUTPUT;
using vexa::test::ScopedLogLevel;
using vexa::test::StderrCapture;

class SystemLog : public ::testing::Test {
  protected:
    void SetUp() override { syslog_calls.clear(); }
    void TearDown() override { syslog_calls.clear(); }
};

TEST(LogSettings, StartAtWarningOnStandardError) {
    EXPECT_EQ(LOG_LEVEL, 4);
    EXPECT_EQ(LOG_OUTPUT, 0);
}

TEST(ErrorLog, WritesTheTextAndANewlineWithoutAnyPrefix) {
    ScopedLogLevel level(7);
    StderrCapture err;
    ErrorLog(__FILE__, __func__, __LINE__, 3).stream() << "Invalid path attribute";
    EXPECT_EQ(err.text(), "Invalid path attribute\n");
}

TEST(ErrorLog, WithTheLevelAloneWritesTheSameWay) {
    ScopedLogLevel level(7);
    StderrCapture err;
    ErrorLog(4).stream() << "cannot load "
                         << "libx.so" << ' ' << 42;
    EXPECT_EQ(err.text(), "cannot load libx.so 42\n");
}

TEST(ErrorLog, StreamIsTheOneCollectingStream) {
    ScopedLogLevel level(7);
    StderrCapture err;
    {
        ErrorLog log(3);
        log.stream() << "first ";
        EXPECT_EQ(&log.stream(), &log.stream());
        log.stream() << "second";
        EXPECT_EQ(log.stream().str(), "first second");
    }
    EXPECT_EQ(err.text(), "first second\n");
}

TEST(ErrorLog, WritesOnlyWhenDestroyed) {
    ScopedLogLevel level(7);
    StderrCapture err;
    std::string before;
    {
        ErrorLog log(3);
        log.stream() << "late";
        std::fflush(stderr);
        before = vexa::test::read_file("/proc/self/fd/2");
    }
    EXPECT_EQ(before, "");
    EXPECT_EQ(err.text(), "late\n");
}

TEST(ErrorLog, AtLevelThreeDropsALevelSevenMessageEntirely) {
    ScopedLogLevel level(3);
    StderrCapture err;
    ErrorLog(__FILE__, __func__, __LINE__, 7).stream() << "debug detail";
    ErrorLog(7).stream() << "more debug detail";
    EXPECT_EQ(err.text(), "");
}

TEST(ErrorLog, AtLevelThreeWritesALevelThreeMessageExactly) {
    ScopedLogLevel level(3);
    StderrCapture err;
    ErrorLog(__FILE__, __func__, __LINE__, 3).stream() << "empty entry tag not allowed";
    EXPECT_EQ(err.text(), "empty entry tag not allowed\n");
}

TEST(ErrorLog, WritesEveryLevelUpToTheSettingAndNothingAbove) {
    ScopedLogLevel level(4);
    StderrCapture err;
    for (int message_level = 1; message_level <= 7; ++message_level) {
        ErrorLog(message_level).stream() << "level " << message_level;
    }
    EXPECT_EQ(err.text(), "level 1\nlevel 2\nlevel 3\nlevel 4\n");
}

TEST(ErrorLog, StartingLevelDropsDebugMessages) {
    StderrCapture err;
    ErrorLog(7).stream() << "dropped";
    ErrorLog(4).stream() << "kept";
    EXPECT_EQ(err.text(), "kept\n");
}

TEST(ErrorLog, WithNothingWrittenEmitsAnEmptyLine) {
    ScopedLogLevel level(7);
    StderrCapture err;
    ErrorLog(__FILE__, __func__, __LINE__, 3).stream();
    { ErrorLog untouched(7); }
    EXPECT_EQ(err.text(), "\n\n");
}

TEST(ErrorLog, WithNothingWrittenAboveTheLevelEmitsNothing) {
    ScopedLogLevel level(3);
    StderrCapture err;
    { ErrorLog untouched(4); }
    EXPECT_EQ(err.text(), "");
}

TEST(ErrorLog, WritesAPercentSignLiterallyOnStandardError) {
    ScopedLogLevel level(7);
    StderrCapture err;
    ErrorLog(3).stream() << "100% of %s and %n";
    EXPECT_EQ(err.text(), "100% of %s and %n\n");
}

TEST(ErrorLog, KeepsLineBreaksInsideTheText) {
    ScopedLogLevel level(7);
    StderrCapture err;
    ErrorLog(3).stream() << "one\ntwo";
    EXPECT_EQ(err.text(), "one\ntwo\n");
}

TEST_F(SystemLog, TakesTheMessageWithItsLevelAsPriorityAndNothingOnStandardError) {
    ScopedLogLevel level(7, 1);
    StderrCapture err;
    ErrorLog(__FILE__, __func__, __LINE__, 3).stream() << "Invalid file attribute";
    EXPECT_EQ(err.text(), "");
    ASSERT_EQ(syslog_calls.size(), 1u);
    EXPECT_EQ(syslog_calls[0].priority, 3);
    EXPECT_EQ(syslog_calls[0].format, "%s\n");
    EXPECT_EQ(syslog_calls[0].argument, "Invalid file attribute");
}

TEST_F(SystemLog, LogsATextWithPercentSignsLiterallyAsTheArgumentNotTheFormat) {
    ScopedLogLevel level(7, 1);
    ErrorLog(4).stream() << "disk 100% full, %s %d %n";
    ASSERT_EQ(syslog_calls.size(), 1u);
    EXPECT_EQ(syslog_calls[0].priority, 4);
    EXPECT_EQ(syslog_calls[0].format, "%s\n");
    EXPECT_EQ(syslog_calls[0].argument, "disk 100% full, %s %d %n");
}

TEST_F(SystemLog, IsChosenByAnyNonZeroOutputSetting) {
    ScopedLogLevel level(7, -2);
    StderrCapture err;
    ErrorLog(7).stream() << "front end detail";
    EXPECT_EQ(err.text(), "");
    ASSERT_EQ(syslog_calls.size(), 1u);
    EXPECT_EQ(syslog_calls[0].priority, 7);
    EXPECT_EQ(syslog_calls[0].argument, "front end detail");
}

TEST_F(SystemLog, GetsNothingAboveTheLevel) {
    ScopedLogLevel level(3, 1);
    StderrCapture err;
    ErrorLog(7).stream() << "dropped";
    ErrorLog(3).stream() << "kept";
    EXPECT_EQ(err.text(), "");
    ASSERT_EQ(syslog_calls.size(), 1u);
    EXPECT_EQ(syslog_calls[0].argument, "kept");
}

TEST_F(SystemLog, GetsAnEmptyRecordForAnUntouchedObject) {
    ScopedLogLevel level(7, 1);
    { ErrorLog untouched(5); }
    ASSERT_EQ(syslog_calls.size(), 1u);
    EXPECT_EQ(syslog_calls[0].priority, 5);
    EXPECT_EQ(syslog_calls[0].format, "%s\n");
    EXPECT_EQ(syslog_calls[0].argument, "");
}

TEST_F(SystemLog, IsNotUsedWhenTheOutputIsStandardError) {
    ScopedLogLevel level(7, 0);
    StderrCapture err;
    ErrorLog(3).stream() << "only here";
    EXPECT_EQ(err.text(), "only here\n");
    EXPECT_TRUE(syslog_calls.empty());
}

}  // namespace
