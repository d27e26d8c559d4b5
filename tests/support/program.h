// Running a program as a user would: a separate process whose standard
// output, standard error and exit status the test compares.
#ifndef VEXA_TESTS_SUPPORT_PROGRAM_H_
#define VEXA_TESTS_SUPPORT_PROGRAM_H_

#include <map>
#include <string>
#include <vector>

namespace vexa::test {

struct ProgramOutcome {
    int status = -1;  // the exit status, or 128 + the signal that ended it
    std::string out;
    std::string err;
};

// Runs `arguments` (the first is the program, looked up on PATH when it has
// no slash) with `input` on its standard input and the caller's environment
// changed by `env` (an empty value removes the variable). Throws
// std::runtime_error when the program cannot be started.
ProgramOutcome run_program(std::vector<std::string> const& arguments,
                           std::map<std::string, std::string> const& env = {},
                           std::string const& input = "");

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_PROGRAM_H_
