#include <util/xml.h>

#include <cstring>

namespace vexa::xml {

bool get_attr(xmlNode* node, std::string const& name, std::string& value) {
    if (node == nullptr) {
        return false;
    }
    xmlChar* text = xmlGetProp(node, reinterpret_cast<xmlChar const*>(name.c_str()));
    if (text == nullptr) {
        return false;
    }
    value = char_to_str(text);
    xmlFree(text);
    return true;
}

std::string get_str(xmlNode* node, std::string const& name, std::string const& fallback) {
    std::string value;
    return get_attr(node, name, value) ? value : fallback;
}

std::string char_to_str(unsigned char const* text) {
    return text == nullptr ? std::string() : std::string(reinterpret_cast<char const*>(text));
}

bool char_cmp_str(unsigned char const* text, std::string const& other) {
    return text != nullptr && other == reinterpret_cast<char const*>(text);
}

}  // namespace vexa::xml
