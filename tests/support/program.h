// Running a program as a user would: a separate process with its own
// arguments, environment, standard streams and, when the test runs as root,
// its own user; its exit status, standard output, standard error and peak
// memory are what the test compares.
//
//   ProgramOutcome outcome = run_program({{"sqlite3", "-batch", db}, {}, "SELECT 1;\n"});
//   EXPECT_EQ(outcome.out, "1\n");
#ifndef VEXA_TESTS_SUPPORT_PROGRAM_H_
#define VEXA_TESTS_SUPPORT_PROGRAM_H_

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "test_support.h"

namespace vexa::test {

struct ProgramRun {
    // The first is the program, looked up on PATH when it has no slash.
    std::vector<std::string> arguments{};
    // Changes to this process's environment; an empty value removes the variable.
    std::map<std::string, std::string> environment{};
    // The program's standard input.
    std::string input{};
    // Descriptors of this process that the program gets under the given
    // numbers, {its number, ours}; a standard output or error given here is
    // not captured.
    std::map<int, int> descriptors{};
    // Standard error goes where standard output goes, interleaved as written.
    bool error_into_output = false;
    // Runs as this user, with the group of the same number (the test being root).
    std::optional<uid_t> user{};
    // A process group of its own, so that its helper processes end with it.
    bool own_process_group = false;
};

struct ProgramOutcome {
    int status = -1;  // the exit status, or 128 + the signal that ended it
    std::string out{};
    std::string err{};
    long peak_kib = 0;  // the most memory it held (resident set)
};

// A started program; it is killed, with its process group when it has one,
// if it still runs when the object goes.
class Program {
  public:
    // Throws std::runtime_error naming the program when it cannot be started.
    explicit Program(ProgramRun const& run);
    ~Program();
    Program(Program const&) = delete;
    Program& operator=(Program const&) = delete;

    // Waits for the end; the captured streams are read then.
    ProgramOutcome wait();
    // Waits up to `grace` for the end, then kills it (and its process group).
    void stop(std::chrono::milliseconds grace);

  private:
    TempDir io_;
    pid_t pid_ = -1;
    bool own_group_ = false;
    bool captures_out_ = true;
    bool captures_err_ = true;
};

// Starts the program and waits for it.
ProgramOutcome run_program(ProgramRun const& run);

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_PROGRAM_H_
