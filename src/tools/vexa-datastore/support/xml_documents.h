// XML documents read with libxml2, its failures told in the tool's one-line
// messages.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_XML_DOCUMENTS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_XML_DOCUMENTS_H_

#include <memory>
#include <string>

#include <libxml/tree.h>

namespace vexa::tool {

using XmlDocument = std::unique_ptr<xmlDoc, void (*)(xmlDoc*)>;

// Stops libxml2 from printing its own multi-line reports, also for documents
// the library reads, and forgets the last error.
void silence_xml_errors();

// "file:line: message" of libxml2's last error, or "" when there is none.
std::string last_xml_error();

// The configuration file `file`, its elements numbered by line. Throws
// std::runtime_error "cannot read configuration file FILE: REASON" or
// "configuration file FILE is not valid XML: FILE:LINE: MESSAGE".
XmlDocument read_configuration_file(std::string const& file);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_XML_DOCUMENTS_H_
