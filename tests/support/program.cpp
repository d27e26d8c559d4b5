#include "program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <thread>

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

std::vector<std::string> environment_with(std::map<std::string, std::string> const& changes) {
    std::vector<std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string variable = *entry;
        if (changes.count(variable.substr(0, variable.find('='))) == 0) {
            variables.push_back(variable);
        }
    }
    for (auto const& [name, value] : changes) {
        if (!value.empty()) {
            variables.push_back(name + "=" + value);
        }
    }
    return variables;
}

// The file that execve runs for `program`, found on PATH as a shell would;
// the lookup is done before the fork, where the child may not allocate.
std::string executable(std::string const& program) {
    if (program.find('/') != std::string::npos) {
        return program;
    }
    char const* path = std::getenv("PATH");
    std::istringstream directories(path != nullptr ? path : "/usr/bin:/bin");
    for (std::string directory; std::getline(directories, directory, ':');) {
        std::string const candidate = (directory.empty() ? "." : directory) + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return program;
}

int open_file(std::string const& path, int flags) {
    int const fd = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (fd < 0) {
        throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
    }
    return fd;
}

}  // namespace

Program::Program(ProgramRun const& run) : own_group_(run.own_process_group) {
    if (run.arguments.empty()) {
        throw std::runtime_error("no program to run");
    }
    std::string const& name = run.arguments.front();
    write_file(io_.file("in"), run.input);
    std::map<int, int> descriptors = run.descriptors;
    std::vector<int> opened{open_file(io_.file("in"), O_RDONLY)};
    descriptors.emplace(0, opened.back());
    captures_out_ = descriptors.count(1) == 0;
    if (captures_out_) {
        opened.push_back(open_file(io_.file("out"), O_WRONLY | O_CREAT | O_TRUNC));
        descriptors.emplace(1, opened.back());
    }
    if (run.error_into_output) {
        descriptors[2] = descriptors.at(1);
    }
    captures_err_ = descriptors.count(2) == 0;
    if (captures_err_) {
        opened.push_back(open_file(io_.file("err"), O_WRONLY | O_CREAT | O_TRUNC));
        descriptors.emplace(2, opened.back());
    }
    // The child first moves every source above every target, so that no
    // dup2 overwrites a source still to be handed on.
    int const above = descriptors.rbegin()->first + 1;
    std::vector<std::pair<int, int>> moves(descriptors.begin(), descriptors.end());

    std::string const file = executable(name);
    std::vector<std::string> arguments = run.arguments;
    std::vector<std::string> variables = environment_with(run.environment);
    auto argv = pointers(arguments);
    auto envp = pointers(variables);
    // The child's errno when it cannot exec, through a pipe that exec closes.
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot start " + name + ": " + std::strerror(errno));
    }

    // Only async-signal-safe calls between fork and exec.
    pid_ = fork();
    if (pid_ == 0) {
        bool ready = !run.own_process_group || setpgid(0, 0) == 0;
        for (auto& [target, source] : moves) {
            source = ready ? fcntl(source, F_DUPFD, above) : -1;
            ready = source >= 0;
        }
        for (auto const& [target, source] : moves) {
            ready = ready && dup2(source, target) == target;
        }
        ready = ready && (!run.user || (setgid(*run.user) == 0 && setuid(*run.user) == 0));
        if (ready) {
            execve(file.c_str(), argv.data(), envp.data());
        }
        int const error = errno;
        ssize_t const ignored = write(report[1], &error, sizeof error);
        (void)ignored;
        _exit(127);
    }
    int const fork_error = errno;
    close(report[1]);
    for (int fd : opened) {
        close(fd);
    }
    int child_error = 0;
    bool const failed = pid_ < 0 || read(report[0], &child_error, sizeof child_error) > 0;
    close(report[0]);
    if (failed) {
        if (pid_ > 0) {
            waitpid(pid_, nullptr, 0);
        }
        pid_ = -1;
        throw std::runtime_error("cannot start " + name + ": " +
                                 std::strerror(child_error != 0 ? child_error : fork_error));
    }
    if (run.own_process_group) {
        setpgid(pid_, pid_);  // also here, so that a kill right away reaches the group
    }
}

Program::~Program() {
    if (pid_ > 0) {
        stop(std::chrono::milliseconds(0));
    }
}

ProgramOutcome Program::wait() {
    ProgramOutcome outcome;
    int status = 0;
    struct rusage usage {};
    if (wait4(pid_, &status, 0, &usage) == pid_) {
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        outcome.peak_kib = usage.ru_maxrss;
    }
    pid_ = -1;
    outcome.out = captures_out_ ? read_file(io_.file("out")) : "";
    outcome.err = captures_err_ ? read_file(io_.file("err")) : "";
    return outcome;
}

void Program::stop(std::chrono::milliseconds grace) {
    auto const deadline = std::chrono::steady_clock::now() + grace;
    while (waitpid(pid_, nullptr, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            kill(own_group_ ? -pid_ : pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (own_group_) {
        kill(-pid_, SIGKILL);  // helpers that outlive the program
    }
    pid_ = -1;
}

ProgramOutcome run_program(ProgramRun const& run) { return Program(run).wait(); }

}  // namespace vexa::test
