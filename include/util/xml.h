// XML support functions over libxml2, and the walker of datastore group
// documents.
#ifndef VEXA_UTIL_XML_H_
#define VEXA_UTIL_XML_H_

#include <string>

#include <libxml/tree.h>

#include <datastore/export.h>
#include <util/log.h>

namespace vexa::xml {

// Reads the attribute `name` of element `node` into `value`. Returns false,
// leaving `value` alone, when the attribute is absent or `node` is null.
VEXA_DATASTORE_EXPORT bool get_attr(xmlNode* node, std::string const& name, std::string& value);

// The value of the attribute `name` of `node`, or `fallback` when absent.
VEXA_DATASTORE_EXPORT std::string get_str(xmlNode* node, std::string const& name,
                                          std::string const& fallback);

// An XML library string as std::string; "" for a null pointer.
VEXA_DATASTORE_EXPORT std::string char_to_str(unsigned char const* text);

// True when the XML library string equals `text` exactly (false for null).
VEXA_DATASTORE_EXPORT bool char_cmp_str(unsigned char const* text, std::string const& other);

// Walks the "group" children of `node` and their "entry" children, calling
//   functor(group_path, config_path, config_file, entry_text, out)
// once per entry, in document order. Returns true when every group and entry
// was accepted; stops with false at the first group whose "path" is present
// but empty, at an entry without text, at an entry whose "config_path" or
// "config_file" is present but empty (these three are logged at level 3), or
// when the functor returns false.
template <class F, class Out>
bool parse_the_group_tags(xmlNode const* node, F& functor, Out out) {
    static char const* const kSource = "include/util/xml";
    for (xmlNode* group = node->children; group != nullptr; group = group->next) {
        if (group->type != XML_ELEMENT_NODE || !char_cmp_str(group->name, "group")) {
            continue;
        }
        std::string group_path;
        if (group->properties != nullptr && get_attr(group, "path", group_path) &&
            group_path.empty()) {
            return false;
        }
        for (xmlNode* entry = group->children; entry != nullptr; entry = entry->next) {
            if (entry->type != XML_ELEMENT_NODE || !char_cmp_str(entry->name, "entry")) {
                continue;
            }
            std::string config_path;
            std::string config_file;
            // The entry's text is its first child's content, taken as it
            // stands: blanks and line breaks around it are kept.
            std::string text;
            if (entry->children != nullptr) {
                text = char_to_str(entry->children->content);
            }
            if (text.empty()) {
                log::ErrorLog(kSource, "parse_the_group_tags", 127, 3).stream()
                    << "empty entry tag not allowed";
                return false;
            }
            if (entry->properties != nullptr) {
                bool const has_path = get_attr(entry, "config_path", config_path);
                bool const has_file = get_attr(entry, "config_file", config_file);
                if (has_path && config_path.empty()) {
                    log::ErrorLog(kSource, "parse_the_group_tags", 134, 3).stream()
                        << "Invalid path attribute";
                    return false;
                }
                if (has_file && config_file.empty()) {
                    log::ErrorLog(kSource, "parse_the_group_tags", 138, 3).stream()
                        << "Invalid file attribute";
                    return false;
                }
            }
            if (!functor(group_path, config_path, config_file, text, out)) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace vexa::xml

#endif  // VEXA_UTIL_XML_H_
