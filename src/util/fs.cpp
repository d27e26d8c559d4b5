#include <util/fs.h>

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include <util/str.h>

#include "variable_expansion.h"

namespace vexa::fs {

namespace {

std::string current_directory() {
    std::unique_ptr<char, decltype(&::free)> cwd(::getcwd(nullptr, 0), &::free);
    if (!cwd) {
        throw std::runtime_error("cannot determine the current directory");
    }
    return cwd.get();
}

}  // namespace

std::string abspath(std::string const& path) {
    std::string const full =
        !path.empty() && path[0] == '/' ? path : current_directory() + "/" + path;
    std::vector<std::string> parts;
    for (std::string& part : str::split(full, '/', false)) {
        if (part == ".") {
            continue;
        }
        if (part == "..") {
            if (!parts.empty()) {
                parts.pop_back();
            }
            continue;
        }
        parts.push_back(std::move(part));
    }
    std::string result;
    for (std::string const& part : parts) {
        result += "/" + part;
    }
    return result.empty() ? "/" : result;
}

std::string selfpath() {
    Dl_info info;
    if (::dladdr(reinterpret_cast<void const*>(&selfpath), &info) == 0 ||
        info.dli_fname == nullptr) {
        throw std::runtime_error("cannot determine the path of the datastore library");
    }
    char resolved[PATH_MAX];
    if (::realpath(info.dli_fname, resolved) == nullptr) {
        return abspath(info.dli_fname);
    }
    return resolved;
}

std::string expand_path(std::string const& path) {
    return util::expand_variables(path, util::UnsetVariable::is_an_error);
}

}  // namespace vexa::fs
