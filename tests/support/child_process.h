// A forked child process that runs test code of this program, talking to
// the test one byte at a time, for writers killed in mid-work and readers
// running beside a writer. Other programs are run with program.h.
//
//   ChildProcess reader([](ChildProcess& self) {
//       self.send('r');       // to the parent
//       return self.receive() == 'g' ? 0 : 1;
//   });
//   EXPECT_EQ(reader.receive(), 'r');
//   reader.send('g');
//   EXPECT_EQ(reader.wait(), 0);
//
// Fork before this process opens the database the child uses: SQLite's
// record of which files a process holds open must not cross a fork.
#ifndef VEXA_TESTS_SUPPORT_CHILD_PROCESS_H_
#define VEXA_TESTS_SUPPORT_CHILD_PROCESS_H_

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <stdexcept>

namespace vexa::test {

class ChildProcess {
  public:
    // Runs `body` in a child, which leaves with _exit and the body's result
    // (99 when it throws), so nothing of the parent's state is torn down twice.
    explicit ChildProcess(std::function<int(ChildProcess&)> const& body) {
        if (pipe(to_child_) != 0 || pipe(to_parent_) != 0) {
            throw std::runtime_error("cannot make the pipes of a child process");
        }
        pid_ = fork();
        if (pid_ < 0) {
            throw std::runtime_error("cannot fork");
        }
        in_child_ = pid_ == 0;
        close(in_child_ ? to_child_[1] : to_child_[0]);
        close(in_child_ ? to_parent_[0] : to_parent_[1]);
        if (in_child_) {
            int code = 99;
            try {
                code = body(*this);
            } catch (...) {
            }
            _exit(code);
        }
    }
    ~ChildProcess() {
        if (pid_ > 0) {
            kill();
        }
        close(to_child_[1]);
        close(to_parent_[0]);
    }
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    // One byte to the other side.
    void send(char byte) {
        if (write(in_child_ ? to_parent_[1] : to_child_[1], &byte, 1) != 1) {
            throw std::runtime_error("cannot write to the other process");
        }
    }
    // The next byte from the other side; '\0' when it has gone.
    char receive() {
        char byte = '\0';
        return read(in_child_ ? to_child_[0] : to_parent_[0], &byte, 1) == 1 ? byte : '\0';
    }

    // Parent side: the child's exit status, -1 when it did not exit normally.
    int wait() {
        int status = 0;
        pid_t const child = pid_;
        pid_ = -1;
        if (waitpid(child, &status, 0) != child) {
            return -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // Parent side: the child's exit status once it has ended (-1 when it did
    // not exit normally), nullopt while it runs; never waits.
    std::optional<int> finished() {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) != pid_) {
            return std::nullopt;
        }
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // Parent side: kills the child at once (SIGKILL) and reaps it.
    void kill() {
        ::kill(pid_, SIGKILL);
        wait();
    }

  private:
    int to_child_[2] = {-1, -1};
    int to_parent_[2] = {-1, -1};
    pid_t pid_ = -1;
    bool in_child_ = false;
};

// Runs `body` in a child process and returns its exit status (-1 when it
// did not exit normally, 99 when it threw).
inline int in_child_process(std::function<int()> const& body) {
    return ChildProcess([&body](ChildProcess&) { return body(); }).wait();
}

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_CHILD_PROCESS_H_
