#include "test_support.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <util/log.h>

namespace vexa::test {

namespace {

std::string temp_root() {
    char const* dir = std::getenv("TMPDIR");
    return dir != nullptr && *dir != '\0' ? dir : "/tmp";
}

}  // namespace

TempDir::TempDir() {
    std::string pattern = temp_root() + "/vexa-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create a temporary directory under " + temp_root());
    }
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(std::string const& name) const { return path_ + "/" + name; }

StderrCapture::StderrCapture() {
    std::fflush(stderr);
    std::string pattern = temp_root() + "/vexa-stderr-XXXXXX";
    int fd = mkstemp(pattern.data());
    if (fd < 0) {
        throw std::runtime_error("cannot create a file to capture standard error");
    }
    path_ = pattern;
    saved_fd_ = dup(STDERR_FILENO);
    dup2(fd, STDERR_FILENO);
    ::close(fd);
}

StderrCapture::~StderrCapture() { text(); }

std::string StderrCapture::text() {
    if (!text_) {
        std::fflush(stderr);
        dup2(saved_fd_, STDERR_FILENO);
        ::close(saved_fd_);
        text_ = read_file(path_);
        std::remove(path_.c_str());
    }
    return *text_;
}

ScopedLogLevel::ScopedLogLevel(int level, int output)
    : saved_level_(vexa::log::LOG_LEVEL), saved_output_(vexa::log::LOG_OUTPUT) {
    vexa::log::LOG_LEVEL = level;
    vexa::log::LOG_OUTPUT = output;
}

ScopedLogLevel::~ScopedLogLevel() {
    vexa::log::LOG_LEVEL = saved_level_;
    vexa::log::LOG_OUTPUT = saved_output_;
}

ScopedEnv::ScopedEnv(std::string name, std::optional<std::string> value) : name_(std::move(name)) {
    if (char const* old = std::getenv(name_.c_str())) {
        saved_ = old;
    }
    if (value) {
        setenv(name_.c_str(), value->c_str(), 1);
    } else {
        unsetenv(name_.c_str());
    }
}

ScopedEnv::~ScopedEnv() {
    if (saved_) {
        setenv(name_.c_str(), saved_->c_str(), 1);
    } else {
        unsetenv(name_.c_str());
    }
}

ScopedCurrentDirectory::ScopedCurrentDirectory(std::string const& path)
    : saved_(std::filesystem::current_path().string()) {
    std::filesystem::current_path(path);
}

ScopedCurrentDirectory::~ScopedCurrentDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(saved_, ignored);
}

void write_file(std::string const& path, std::string const& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string read_file(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + path);
    }
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

bool exists(std::string const& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

std::string real_path(std::string const& path) {
    std::unique_ptr<char, decltype(&::free)> resolved(::realpath(path.c_str(), nullptr), &::free);
    if (!resolved) {
        throw std::runtime_error("cannot resolve " + path);
    }
    return resolved.get();
}

}  // namespace vexa::test
