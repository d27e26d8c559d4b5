#include <util/xml.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include "test_support.h"

namespace {

using vexa::xml::char_cmp_str;
using vexa::xml::char_to_str;
using vexa::xml::get_attr;
using vexa::xml::get_str;

unsigned char const* xml_text(char const* text) {
    return reinterpret_cast<unsigned char const*>(text);
}

// A configuration-like document read from a file, as the parser reads them.
class ParsedDocument : public ::testing::Test {
  protected:
    void SetUp() override {
        vexa::test::write_file(dir_.file("instance.xml"),
                               "<?xml version=\"1.0\"?>\n"
                               "<configuration instance_name=\"local\" type=\"sqlite3\" "
                               "source_parameters=\"source=/tmp/a b.db|read_only=true\" "
                               "empty=\"\" spaced=\"  padded  \" entity=\"a&amp;b&lt;c\">"
                               "<entry>libsqlite.so</entry>"
                               "</configuration>\n");
        document_.reset(xmlReadFile(dir_.file("instance.xml").c_str(), nullptr, 0));
        ASSERT_NE(document_, nullptr);
        root_ = xmlDocGetRootElement(document_.get());
        ASSERT_NE(root_, nullptr);
    }

    struct FreeDocument {
        void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
    };

    vexa::test::TempDir dir_;
    std::unique_ptr<xmlDoc, FreeDocument> document_;
    xmlNode* root_ = nullptr;
};

TEST_F(ParsedDocument, GetAttrReadsAPresentAttribute) {
    std::string value = "old";
    EXPECT_TRUE(get_attr(root_, "instance_name", value));
    EXPECT_EQ(value, "local");
    EXPECT_TRUE(get_attr(root_, "source_parameters", value));
    EXPECT_EQ(value, "source=/tmp/a b.db|read_only=true");
}

TEST_F(ParsedDocument, GetAttrKeepsTheValueAsWrittenWithEntitiesResolved) {
    std::string value;
    EXPECT_TRUE(get_attr(root_, "spaced", value));
    EXPECT_EQ(value, "  padded  ");
    EXPECT_TRUE(get_attr(root_, "entity", value));
    EXPECT_EQ(value, "a&b<c");
}

TEST_F(ParsedDocument, GetAttrReportsAnEmptyAttributeAsPresent) {
    std::string value = "old";
    EXPECT_TRUE(get_attr(root_, "empty", value));
    EXPECT_EQ(value, "");
}

TEST_F(ParsedDocument, GetAttrLeavesTheValueAloneForAnAbsentAttribute) {
    std::string value = "old";
    EXPECT_FALSE(get_attr(root_, "source_types", value));
    EXPECT_EQ(value, "old");
}

TEST_F(ParsedDocument, GetAttrComparesNamesCaseSensitively) {
    std::string value = "old";
    EXPECT_FALSE(get_attr(root_, "Instance_Name", value));
    EXPECT_EQ(value, "old");
}

TEST(GetAttr, IsFalseForANullNode) {
    std::string value = "old";
    EXPECT_FALSE(get_attr(nullptr, "instance_name", value));
    EXPECT_EQ(value, "old");
}

TEST_F(ParsedDocument, GetStrGivesThePresentValue) {
    EXPECT_EQ(get_str(root_, "type", "other"), "sqlite3");
    EXPECT_EQ(get_str(root_, "empty", "fallback"), "");
}

TEST_F(ParsedDocument, GetStrGivesTheFallbackForAnAbsentAttribute) {
    EXPECT_EQ(get_str(root_, "source_types", "data"), "data");
    EXPECT_EQ(get_str(nullptr, "type", "sqlite3"), "sqlite3");
}

TEST_F(ParsedDocument, CharToStrConvertsNamesAndContent) {
    EXPECT_EQ(char_to_str(root_->name), "configuration");
    xmlNode* entry = xmlFirstElementChild(root_);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(char_to_str(entry->name), "entry");
    ASSERT_NE(entry->children, nullptr);
    EXPECT_EQ(char_to_str(entry->children->content), "libsqlite.so");
}

TEST(CharToStr, GivesAnEmptyTextForANullPointer) {
    EXPECT_EQ(char_to_str(nullptr), "");
    EXPECT_EQ(char_to_str(xml_text("")), "");
}

TEST_F(ParsedDocument, CharCmpStrIsTrueOnlyForTheExactText) {
    EXPECT_TRUE(char_cmp_str(root_->name, "configuration"));
    EXPECT_FALSE(char_cmp_str(root_->name, "Configuration"));
    EXPECT_FALSE(char_cmp_str(root_->name, "config"));
    EXPECT_FALSE(char_cmp_str(root_->name, "configurations"));
    EXPECT_FALSE(char_cmp_str(root_->name, ""));
}

TEST(CharCmpStr, IsFalseForANullPointerEvenAgainstAnEmptyText) {
    EXPECT_FALSE(char_cmp_str(nullptr, ""));
    EXPECT_FALSE(char_cmp_str(nullptr, "group"));
    EXPECT_TRUE(char_cmp_str(xml_text(""), ""));
}

}  // namespace
