#include "program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstring>
#include <stdexcept>

#include "test_support.h"

extern char** environ;

namespace vexa::test {

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (auto& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

}  // namespace

ProgramOutcome run_program(std::vector<std::string> const& arguments,
                           std::map<std::string, std::string> const& env,
                           std::string const& input) {
    TempDir io;
    write_file(io.file("in"), input);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, io.file("in").c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, io.file("out").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, io.file("err").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string variable = *entry;
        if (env.count(variable.substr(0, variable.find('='))) == 0) {
            variables.push_back(variable);
        }
    }
    for (auto const& [name, value] : env) {
        if (!value.empty()) {
            variables.push_back(name + "=" + value);
        }
    }
    std::vector<std::string> argument_texts = arguments;
    auto argv = pointers(argument_texts);
    auto envp = pointers(variables);
    pid_t pid = 0;
    int rc = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        throw std::runtime_error("cannot start " + arguments.front() + ": " + std::strerror(rc));
    }
    int status = 0;
    waitpid(pid, &status, 0);
    ProgramOutcome outcome;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    outcome.out = read_file(io.file("out"));
    outcome.err = read_file(io.file("err"));
    return outcome;
}

}  // namespace vexa::test
