// Prints the installation root of the library it runs against and fails
// unless that root resolves to the directory given as its argument.
#include <limits.h>
#include <stdlib.h>

#include <iostream>
#include <string>

#include <datastore/datastore.h>

namespace {

std::string real(std::string const& path) {
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) != nullptr ? resolved : "";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: consumer <installation prefix>\n";
        return 2;
    }
    std::string const root = vexa::util::CommonConstants::INSTALL_ROOT();
    std::cout << "INSTALL_ROOT=" << root << "\n";
    std::cout << "DEFAULT_DATA_SOURCE=" << vexa::datastore::DEFAULT_DATA_SOURCE << "\n";
    std::string const resolved = real(root);
    std::string const prefix = real(argv[1]);
    if (resolved.empty() || resolved != prefix) {
        std::cerr << "INSTALL_ROOT " << root << " resolves to '" << resolved << "', not to '"
                  << prefix << "'\n";
        return 1;
    }
    return 0;
}
