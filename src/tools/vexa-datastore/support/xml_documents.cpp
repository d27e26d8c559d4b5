#include "support/xml_documents.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <util/str.h>

namespace vexa::tool {

namespace {

void ignore_xml_message(void*, char const*, ...) {}

}  // namespace

void silence_xml_errors() {
    xmlSetGenericErrorFunc(nullptr, ignore_xml_message);
    xmlResetLastError();
}

std::string last_xml_error() {
    auto const* error = xmlGetLastError();
    if (error == nullptr || error->message == nullptr) {
        return "";
    }
    std::string message = vexa::str::stripws(error->message);
    if (error->file != nullptr) {
        message = std::string(error->file) + ":" + std::to_string(error->line) + ": " + message;
    }
    return message;
}

XmlDocument read_configuration_file(std::string const& file) {
    if (access(file.c_str(), R_OK) != 0) {
        throw std::runtime_error("cannot read configuration file " + file + ": " +
                                 std::strerror(errno));
    }
    silence_xml_errors();
    XmlDocument document(
        xmlReadFile(file.c_str(), nullptr, XML_PARSE_NOERROR | XML_PARSE_NOWARNING), xmlFreeDoc);
    if (!document) {
        throw std::runtime_error("configuration file " + file +
                                 " is not valid XML: " + last_xml_error());
    }
    return document;
}

}  // namespace vexa::tool
