// Helpers shared by the test suites.
#ifndef VEXA_TESTS_SUPPORT_TEST_SUPPORT_H_
#define VEXA_TESTS_SUPPORT_TEST_SUPPORT_H_

#include <optional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace vexa::test {

// A fresh directory under $TMPDIR (or /tmp), removed with its contents when
// the object goes out of scope.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::string const& path() const { return path_; }
    // path() + "/" + name
    std::string file(std::string const& name) const;

  private:
    std::string path_;
};

// Redirects file descriptor 2 into a temporary file from construction until
// text() or destruction, so that everything written to standard error (by
// any code, C or C++) can be compared exactly.
class StderrCapture {
  public:
    StderrCapture();
    ~StderrCapture();
    StderrCapture(StderrCapture const&) = delete;
    StderrCapture& operator=(StderrCapture const&) = delete;

    // Stops capturing (once) and returns what was written.
    std::string text();

  private:
    int saved_fd_ = -1;
    std::string path_;
    std::optional<std::string> text_;
};

// Sets vexa::log::LOG_LEVEL and LOG_OUTPUT for the life of the object.
class ScopedLogLevel {
  public:
    explicit ScopedLogLevel(int level, int output = 0);
    ~ScopedLogLevel();

  private:
    int saved_level_;
    int saved_output_;
};

// Sets (or, with nullopt, unsets) an environment variable for the life of
// the object.
class ScopedEnv {
  public:
    ScopedEnv(std::string name, std::optional<std::string> value);
    ~ScopedEnv();

  private:
    std::string name_;
    std::optional<std::string> saved_;
};

// Makes `path` the current directory for the life of the object, then
// returns to the previous one.
class ScopedCurrentDirectory {
  public:
    explicit ScopedCurrentDirectory(std::string const& path);
    ~ScopedCurrentDirectory();
    ScopedCurrentDirectory(ScopedCurrentDirectory const&) = delete;
    ScopedCurrentDirectory& operator=(ScopedCurrentDirectory const&) = delete;

  private:
    std::string saved_;
};

// The message of the std::runtime_error that `call` throws; a test failure
// and "" when it throws none.
template <typename Call>
std::string runtime_error_of(Call call) {
    try {
        call();
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    ADD_FAILURE() << "no std::runtime_error was thrown";
    return "";
}

// Writes `content` to `path`, replacing it. Throws std::runtime_error on failure.
void write_file(std::string const& path, std::string const& content);
// The whole content of `path`. Throws std::runtime_error on failure.
std::string read_file(std::string const& path);
// Whether `path` exists.
bool exists(std::string const& path);
// The canonical path of an existing `path` (symbolic links, "." and ".."
// resolved). Throws std::runtime_error when it cannot be resolved.
std::string real_path(std::string const& path);

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_TEST_SUPPORT_H_
