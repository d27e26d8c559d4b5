#include "support/configuration_entries.h"

#include <libxml/parser.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <util/log.h>
#include <util/xml.h>

#include "support/xml_documents.h"

namespace vexa::tool {

using datastore::DataStoreConfig;
using datastore::DataStoreParseUtility;

namespace {

std::string place(std::string const& file, long line) { return file + ":" + std::to_string(line); }

// The record as loading completes it.
DataStoreConfig completed(DataStoreConfig const& config) {
    std::vector<DataStoreConfig> one{config};
    DataStoreParseUtility::fillInVacantFields(one);
    return one.front();
}

// The instance file an entry names, found as the library's entry reader
// finds it: default_sqlite.xml in the installation's etc/datastore unless
// the entry says otherwise.
std::string instance_file(std::string const& config_path, std::string const& config_file) {
    std::string file = str::stripws(config_file);
    return DataStoreParseUtility::generate_path(
        str::stripws(config_path), file.empty() ? "default_sqlite.xml" : file,
        DataStoreParseUtility::get_default_install_path() + "/etc/datastore");
}

// Reads each entry with the library's reader and notes where its faults lie.
// It never refuses an entry, so the walk goes on past a faulty one.
class EntryReader {
  public:
    EntryReader(std::string const& document, std::vector<xmlNode*> const& entries)
        : document_(document), entries_(entries) {}

    bool operator()(std::string group_path, std::string config_path, std::string config_file,
                    std::string entry_text, std::vector<ConfigurationEntry>& out) {
        ConfigurationEntry entry;
        entry.label = str::stripws(entry_text);
        entry.entry_at = place(document_, xmlGetLineNo(entries_.at(out.size())));
        entry.file_at = entry.entry_at;
        std::string const file = instance_file(config_path, config_file);
        silence_xml_errors();
        XmlDocument own(xmlReadFile(file.c_str(), nullptr, XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
                        xmlFreeDoc);
        std::string const xml_error = last_xml_error();
        if (own) {
            xmlNode* root = xmlDocGetRootElement(own.get());
            entry.file_at = place(file, root != nullptr ? xmlGetLineNo(root) : 1);
            std::string const name = xml::get_str(root, "instance_name", "");
            entry.label = name.empty() ? entry.label : str::stripws(name);
        }
        std::vector<DataStoreConfig> read;
        try {
            DataStoreParseUtility::ParseConfig()(group_path, config_path, config_file, entry_text,
                                                 read);
            entry.config = completed(read.front());
            entry.label = entry.config.instance_name;
        } catch (std::exception const& e) {
            entry.fault = e.what();
            entry.fault_at = entry.entry_at;
            if (access(file.c_str(), R_OK) != 0) {
                entry.fault += " (cannot read " + file + ": " + std::strerror(errno) + ")";
            } else if (!own) {
                entry.fault += " (" + xml_error + ")";
            } else {  // an attribute of the instance file
                entry.fault_at = entry.file_at;
            }
        }
        if (entry.fault.empty() && entry.config.extension_name.find('\n') != std::string::npos) {
            entry.fault =
                "the entry is written over several lines: write the entry's file name on one line";
            entry.fault_at = entry.entry_at;
        }
        out.push_back(std::move(entry));
        return true;
    }

  private:
    std::string const& document_;
    std::vector<xmlNode*> const& entries_;
};

// The entry elements in the order the library's walk visits them.
std::vector<xmlNode*> entry_elements(xmlNode* root) {
    std::vector<xmlNode*> entries;
    for (xmlNode* group = root->children; group != nullptr; group = group->next) {
        if (group->type != XML_ELEMENT_NODE || !xml::char_cmp_str(group->name, "group")) {
            continue;
        }
        for (xmlNode* entry = group->children; entry != nullptr; entry = entry->next) {
            if (entry->type == XML_ELEMENT_NODE && xml::char_cmp_str(entry->name, "entry")) {
                entries.push_back(entry);
            }
        }
    }
    return entries;
}

// Why the library's walk stopped at `entry` (null: past the last entry), in
// the words it logs: its group's path is empty, or the entry has no text or
// an empty config_path or config_file attribute, checked in the walk's order.
std::string refusal_of(xmlNode* entry) {
    std::string value;
    if (entry == nullptr || (xml::get_attr(entry->parent, "path", value) && value.empty())) {
        return "a group's path is empty";
    }
    if (entry->children == nullptr || xml::char_to_str(entry->children->content).empty()) {
        return "empty entry tag not allowed";
    }
    if (xml::get_attr(entry, "config_path", value) && value.empty()) {
        return "Invalid path attribute";
    }
    if (xml::get_attr(entry, "config_file", value) && value.empty()) {
        return "Invalid file attribute";
    }
    return "a group's path is empty";
}

// The library's walk logs why it stops (at level 3, which the tool shows);
// config check says it in its own line instead, so the log is silent for
// the life of the object, unless -v asked for everything.
class QuietWalk {
  public:
    QuietWalk() : saved_level_(log::LOG_LEVEL) {
        if (saved_level_ < 7) {
            log::LOG_LEVEL = -1;
        }
    }
    ~QuietWalk() { log::LOG_LEVEL = saved_level_; }
    QuietWalk(QuietWalk const&) = delete;
    QuietWalk& operator=(QuietWalk const&) = delete;

  private:
    int saved_level_;
};

}  // namespace

std::vector<ConfigurationEntry> read_configuration_entries(std::string const& file) {
    if (file.empty()) {
        DataStoreConfig const config = completed(DataStoreConfig{});
        return {{config.instance_name, "", "", "", "", config}};
    }
    XmlDocument const document = read_configuration_file(file);
    xmlNode* root = xmlDocGetRootElement(document.get());
    std::vector<xmlNode*> const elements = entry_elements(root);
    std::vector<ConfigurationEntry> entries;
    EntryReader reader(file, elements);
    QuietWalk const quiet;
    if (!xml::parse_the_group_tags<EntryReader, std::vector<ConfigurationEntry>&>(root, reader,
                                                                                  entries)) {
        // The walk refused the next entry, or the group holding it.
        std::size_t const at = entries.size();
        xmlNode* const refused = at < elements.size() ? elements[at] : nullptr;
        ConfigurationEntry stop;
        stop.fault_at =
            place(file, refused != nullptr ? xmlGetLineNo(refused) : xmlGetLineNo(root));
        stop.fault = refusal_of(refused) + "; loading reads no entry from here on";
        entries.push_back(stop);
    }
    if (entries.empty()) {
        ConfigurationEntry none;
        none.fault_at = place(file, xmlGetLineNo(root));
        none.fault =
            "names no datastore: it needs group elements holding entry elements, as in "
            "etc/datastore/datastores.xml";
        entries.push_back(none);
    }
    return entries;
}

}  // namespace vexa::tool
