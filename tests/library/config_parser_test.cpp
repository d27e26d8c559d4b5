// Reading group documents and datastore configuration files into records.
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <filesystem>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>
#include <util/fs.h>

#include "test_support.h"

namespace {

using vexa::datastore::DataStoreConfig;
using vexa::datastore::DataStoreParseUtility;

struct DocumentDeleter {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, DocumentDeleter>;

std::string const kValidAttributes =
    R"(type="sqlite3" source_parameters="source=/tmp/x.db|read_only=true")";

std::string configuration(std::string const& attributes) {
    return "<?xml version=\"1.0\"?>\n<configuration " + attributes + "/>\n";
}

DataStoreConfig fallback_record() {
    DataStoreConfig fallback;
    fallback.type = vexa::datastore::odbc;
    fallback.instance_name = "fallback";
    fallback.source_parameters = "fallback_dsn";
    fallback.source_types.set(vexa::datastore::stream);
    return fallback;
}

void expect_fallback(std::vector<DataStoreConfig> const& configs) {
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].type, vexa::datastore::odbc);
    EXPECT_EQ(configs[0].instance_name, "fallback");
    EXPECT_EQ(configs[0].extension_name, "");
    EXPECT_EQ(configs[0].extension_path, "");
    EXPECT_EQ(configs[0].source_parameters, "fallback_dsn");
    EXPECT_EQ(configs[0].source_types.to_string(), "10");
}

// Sets the installation directory for the life of the object.
class ScopedInstallPath {
  public:
    explicit ScopedInstallPath(std::string const& path)
        : saved_(DataStoreParseUtility::default_install_path) {
        EXPECT_TRUE(DataStoreParseUtility::set_default_install_path(path));
    }
    ~ScopedInstallPath() { DataStoreParseUtility::default_install_path = saved_; }

  private:
    std::string saved_;
};

// Points the parser at a temporary installation directory with an empty
// etc/datastore.
class ConfigParserTest : public ::testing::Test {
  protected:
    void SetUp() override { std::filesystem::create_directories(config_dir()); }

    std::string config_dir() const { return root_ + "/etc/datastore"; }

    void write_config(std::string const& name, std::string const& attributes) const {
        vexa::test::write_file(config_dir() + "/" + name, configuration(attributes));
    }

    // The records of a group document given as text.
    std::vector<DataStoreConfig> parse_group(std::string const& text) const {
        Document document(
            xmlReadMemory(text.data(), static_cast<int>(text.size()), "group.xml", nullptr, 0));
        if (!document) {
            ADD_FAILURE() << "test document does not parse: " << text;
            return {};
        }
        return DataStoreParseUtility::parse_db_configs(xmlDocGetRootElement(document.get()),
                                                       fallback_record());
    }

    // The message of the std::runtime_error that parsing `text` throws.
    std::string parse_error(std::string const& text) const {
        return vexa::test::runtime_error_of([&] { parse_group(text); });
    }

    vexa::test::TempDir install_;
    ScopedInstallPath install_path_{install_.path()};
    std::string const root_ = vexa::fs::abspath(install_.path());
};

// --- the group document ------------------------------------------------------

TEST_F(ConfigParserTest, GroupDocumentWithoutGroupGivesOneFallbackCopy) {
    write_config("a.xml", kValidAttributes);
    expect_fallback(parse_group(
        R"(<datastores><entry config_file="a.xml">libsqlite.so</entry><other/></datastores>)"));
}

TEST_F(ConfigParserTest, NullNodeGivesOneFallbackCopy) {
    expect_fallback(DataStoreParseUtility::parse_db_configs(nullptr, fallback_record()));
}

TEST_F(ConfigParserTest, GroupWithoutEntriesGivesOneFallbackCopy) {
    expect_fallback(parse_group(R"(<datastores><group path="lib"/></datastores>)"));
}

TEST_F(ConfigParserTest, ExampleGroupYieldsOneCompleteRecord) {
    write_config("my_sqlite.xml", R"(instance_name="vexa_1" type="sqlite3" )"
                                  R"(source_types="data|stream" )"
                                  R"(source_parameters="source=/var/tmp/v.db|read_only=false")");
    auto const configs = parse_group(
        R"(<datastores><group path="lib/datastore">)"
        R"(<entry config_file="my_sqlite.xml">libsqlite.so</entry></group></datastores>)");
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].type, vexa::datastore::sqlite3);
    EXPECT_EQ(configs[0].instance_name, "vexa_1");
    EXPECT_EQ(configs[0].extension_name, "libsqlite.so");
    EXPECT_EQ(configs[0].extension_path, root_ + "/lib/datastore");
    EXPECT_EQ(configs[0].source_parameters, "source=/var/tmp/v.db|read_only=false");
    EXPECT_EQ(configs[0].source_types.to_string(), "11");
}

TEST_F(ConfigParserTest, RecordsFollowDocumentOrderAcrossGroups) {
    write_config("a.xml", R"(instance_name="a" )" + kValidAttributes);
    write_config("b.xml", R"(instance_name="b" )" + kValidAttributes);
    write_config("c.xml", R"(instance_name="c" )" + kValidAttributes);
    auto const configs = parse_group(
        R"(<datastores><group path="one"><entry config_file="a.xml">liba.so</entry>)"
        R"(<!-- skipped --><note>skipped</note><entry config_file="b.xml">libb.so</entry></group>)"
        R"(<ignored/><group path="/opt/two"><entry config_file="c.xml">libc.so</entry></group>)"
        R"(</datastores>)");
    ASSERT_EQ(configs.size(), 3u);
    EXPECT_EQ(configs[0].instance_name, "a");
    EXPECT_EQ(configs[0].extension_name, "liba.so");
    EXPECT_EQ(configs[0].extension_path, root_ + "/one");
    EXPECT_EQ(configs[1].instance_name, "b");
    EXPECT_EQ(configs[1].extension_name, "libb.so");
    EXPECT_EQ(configs[2].instance_name, "c");
    EXPECT_EQ(configs[2].extension_path, "/opt/two");
}

TEST_F(ConfigParserTest, GroupWithoutPathUsesTheInstallationDirectory) {
    write_config("a.xml", kValidAttributes);
    auto const configs = parse_group(
        R"(<datastores><group><entry config_file="a.xml">libsqlite.so</entry></group>)"
        R"(<group kind="x"><entry config_file="a.xml">libsqlite.so</entry></group></datastores>)");
    ASSERT_EQ(configs.size(), 2u);
    EXPECT_EQ(configs[0].extension_path, root_);
    EXPECT_EQ(configs[1].extension_path, root_);
}

TEST_F(ConfigParserTest, EntryTextKeepsSurroundingLineBreaks) {
    write_config("a.xml", kValidAttributes);
    auto const configs = parse_group(
        "<datastores><group><entry config_file=\"a.xml\">\n  libsqlite.so\n</entry>"
        "</group></datastores>");
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].extension_name, "\n  libsqlite.so\n");
}

TEST_F(ConfigParserTest, EntryWithoutConfigFileReadsDefaultSqliteXml) {
    write_config("default_sqlite.xml", R"(instance_name="from_default" )" + kValidAttributes);
    auto const configs =
        parse_group(R"(<datastores><group><entry>libsqlite.so</entry></group></datastores>)");
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].instance_name, "from_default");
}

TEST_F(ConfigParserTest, BlankConfigFileReadsDefaultSqliteXml) {
    write_config("default_sqlite.xml", R"(instance_name="from_default" )" + kValidAttributes);
    auto const configs = parse_group(
        R"(<datastores><group><entry config_file="  ">libsqlite.so</entry></group></datastores>)");
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].instance_name, "from_default");
}

TEST_F(ConfigParserTest, ConfigFileAndPathAreTrimmed) {
    std::filesystem::create_directories(config_dir() + "/cfg");
    vexa::test::write_file(config_dir() + "/cfg/mine.xml",
                           configuration(R"(instance_name="trimmed" )" + kValidAttributes));
    auto const configs =
        parse_group(R"(<datastores><group><entry config_path=" cfg " config_file=" mine.xml ">)"
                    R"(libsqlite.so</entry></group></datastores>)");
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].instance_name, "trimmed");
}

TEST_F(ConfigParserTest, ConfigPathOfHomeIsNotPrefixedWithTheBase) {
    vexa::test::TempDir home;
    vexa::test::ScopedEnv env("HOME", home.path());
    std::filesystem::create_directories(home.file("cfg"));
    vexa::test::write_file(home.file("cfg/mine.xml"),
                           configuration(R"(instance_name="in_home" )" + kValidAttributes));
    auto const configs =
        parse_group(R"(<datastores><group><entry config_path="$HOME/cfg" config_file="mine.xml">)"
                    R"(libsqlite.so</entry></group></datastores>)");
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].instance_name, "in_home");
}

TEST_F(ConfigParserTest, RelativeConfigPathIsRootedAtTheConfigurationDirectory) {
    std::filesystem::create_directories(config_dir() + "/cfg");
    vexa::test::write_file(config_dir() + "/cfg/mine.xml",
                           configuration(R"(instance_name="in_cfg" )" + kValidAttributes));
    auto const configs =
        parse_group(R"(<datastores><group><entry config_path="cfg" config_file="mine.xml">)"
                    R"(libsqlite.so</entry></group></datastores>)");
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].instance_name, "in_cfg");
}

// --- faults of the walk --------------------------------------------------------

// A good entry, then `faulty_entry` (which may open a new group), then a
// good entry that is never reached: only the first record survives and
// standard error holds exactly `logged`.
struct WalkFault {
    std::string name;
    std::string faulty_entry;
    std::string logged;
};

// Keeps the test listing readable: the case's name instead of its bytes.
void PrintTo(WalkFault const& fault, std::ostream* out) { *out << fault.name; }

class WalkFaultTest : public ConfigParserTest, public ::testing::WithParamInterface<WalkFault> {};

TEST_P(WalkFaultTest, SecondFaultAfterGoodEntryKeepsTheGoodRecord) {
    write_config("good.xml", R"(instance_name="good" )" + kValidAttributes);
    write_config("later.xml", R"(instance_name="later" )" + kValidAttributes);
    vexa::test::ScopedLogLevel level(3);
    vexa::test::StderrCapture capture;
    auto const configs =
        parse_group(R"(<datastores><group><entry config_file="good.xml">libsqlite.so</entry>)" +
                    GetParam().faulty_entry +
                    R"(<entry config_file="later.xml">libsqlite.so</entry></group></datastores>)");
    EXPECT_EQ(capture.text(), GetParam().logged);
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].instance_name, "good");
}

INSTANTIATE_TEST_SUITE_P(
    Faults, WalkFaultTest,
    ::testing::Values(
        WalkFault{"EmptyEntry", R"(<entry config_file="later.xml"></entry>)",
                  "empty entry tag not allowed\n"},
        WalkFault{"EntryWithEmptyChild", R"(<entry config_file="later.xml"><b/></entry>)",
                  "empty entry tag not allowed\n"},
        WalkFault{"EmptyConfigPath", R"(<entry config_path="">libsqlite.so</entry>)",
                  "Invalid path attribute\n"},
        WalkFault{"EmptyConfigFile", R"(<entry config_file="">libsqlite.so</entry>)",
                  "Invalid file attribute\n"},
        WalkFault{"BothEmptyReportsThePath",
                  R"(<entry config_file="" config_path="">libsqlite.so</entry>)",
                  "Invalid path attribute\n"},
        WalkFault{"EmptyGroupPathIsSilent",
                  R"(</group><group path=""><entry config_file="later.xml">libsqlite.so</entry>)",
                  ""}),
    [](auto const& info) { return info.param.name; });

TEST_F(ConfigParserTest, WalkMessagesAreErrorLevel) {
    write_config("good.xml", kValidAttributes);
    vexa::test::ScopedLogLevel level(2);
    vexa::test::StderrCapture capture;
    auto const configs =
        parse_group(R"(<datastores><group><entry config_file="good.xml">libsqlite.so</entry>)"
                    R"(<entry config_file="">libsqlite.so</entry></group></datastores>)");
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(configs.size(), 1u);
}

TEST_F(ConfigParserTest, FaultBeforeAnyRecordGivesTheFallback) {
    vexa::test::ScopedLogLevel level(3);
    vexa::test::StderrCapture capture;
    auto const configs =
        parse_group(R"(<datastores><group><entry config_path="">libsqlite.so</entry>)"
                    R"(</group></datastores>)");
    EXPECT_EQ(capture.text(), "Invalid path attribute\n");
    expect_fallback(configs);
}

// --- faults of the configuration file ---------------------------------------

std::string const kGroupOfBad =
    R"(<datastores><group><entry config_file="bad.xml">libsqlite.so</entry></group></datastores>)";

// libxml2 reports the file it could not read on standard error; the
// captures below keep that out of the test output.

TEST_F(ConfigParserTest, MissingConfigurationFileThrows) {
    vexa::test::StderrCapture libxml2_report;
    EXPECT_EQ(parse_error(kGroupOfBad), "Error opening datastore configuration");
}

TEST_F(ConfigParserTest, UnparsableConfigurationFileThrows) {
    vexa::test::write_file(config_dir() + "/bad.xml", "<configuration type=\"sqlite3\"");
    vexa::test::StderrCapture libxml2_report;
    EXPECT_EQ(parse_error(kGroupOfBad), "Error opening datastore configuration");
}

TEST_F(ConfigParserTest, FaultyFileAfterGoodEntryThrowsOutOfTheParser) {
    write_config("good.xml", kValidAttributes);
    vexa::test::StderrCapture libxml2_report;
    EXPECT_EQ(
        parse_error(R"(<datastores><group><entry config_file="good.xml">libsqlite.so</entry>)"
                    R"(<entry config_file="bad.xml">libsqlite.so</entry></group></datastores>)"),
        "Error opening datastore configuration");
}

TEST_F(ConfigParserTest, MissingTypeThrowsTheTypeTextWithNothingAfterTheBlank) {
    write_config("bad.xml", R"(source_parameters="source=/tmp/x.db")");
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute type ");
}

TEST_F(ConfigParserTest, MissingSourceParametersThrowsTheTypeText) {
    write_config("bad.xml", R"(type="sqlite3")");
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute type ");
}

TEST_F(ConfigParserTest, BlankSourceParametersThrowTheTypeText) {
    write_config("bad.xml", R"(type="sqlite3" source_parameters="   ")");
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute type ");
}

TEST_F(ConfigParserTest, MissingTypeAndSourceParametersThrowTheTypeText) {
    write_config("bad.xml", R"(instance_name="x")");
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute type ");
}

TEST_F(ConfigParserTest, UnknownTypeIsNamedInTheText) {
    write_config("bad.xml", R"(type="SQLite3" source_parameters="source=/tmp/x.db")");
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute type SQLite3");
}

TEST_F(ConfigParserTest, SourceTypesAreJudgedBeforeType) {
    write_config("bad.xml", R"(type="mysql" source_types="files" source_parameters="s")");
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute source types files");
}

TEST_F(ConfigParserTest, SourceParametersAreJudgedBeforeSourceTypes) {
    write_config("bad.xml", R"(type="mysql" source_types="files")");
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute type ");
}

TEST_F(ConfigParserTest, SourceTypesWithACommaFailOnTheWholePiece) {
    write_config("bad.xml", R"(source_types="data, stream" )" + kValidAttributes);
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute source types data, stream");
}

TEST_F(ConfigParserTest, SourceTypePiecesAreCaseSensitive) {
    write_config("bad.xml", R"(source_types="data|Stream" )" + kValidAttributes);
    EXPECT_EQ(parse_error(kGroupOfBad), "Invalid value for attribute source types Stream");
}

// --- attribute values ----------------------------------------------------------

class ConfigFileTest : public ConfigParserTest {
  protected:
    // The one record read from a file with `attributes`.
    DataStoreConfig read(std::string const& attributes) {
        write_config("one.xml", attributes);
        auto const configs = parse_group(
            R"(<datastores><group><entry config_file="one.xml">libx.so</entry></group></datastores>)");
        EXPECT_EQ(configs.size(), 1u);
        return configs.empty() ? DataStoreConfig{} : configs[0];
    }
};

TEST_F(ConfigFileTest, DataAndStreamSetBothBits) {
    EXPECT_EQ(read(R"(source_types="data|stream" )" + kValidAttributes).source_types.to_string(),
              "11");
}

TEST_F(ConfigFileTest, TwoBarsInARowDropTheEmptyPiece) {
    EXPECT_EQ(read(R"(source_types="data||stream" )" + kValidAttributes).source_types.to_string(),
              "11");
}

TEST_F(ConfigFileTest, AbsentSourceTypesLeaveNoBitSet) {
    EXPECT_TRUE(read(kValidAttributes).source_types.none());
}

TEST_F(ConfigFileTest, StreamAloneSetsOnlyTheStreamBit) {
    EXPECT_EQ(read(R"(source_types=" stream " )" + kValidAttributes).source_types.to_string(),
              "10");
}

TEST_F(ConfigFileTest, ValuesAreTrimmedAndOtherAttributesIgnored) {
    DataStoreConfig const config =
        read(R"(instance_name="  spaced  " type=" odbc " source_parameters=" my_dsn " )"
             R"(colour="blue")");
    EXPECT_EQ(config.instance_name, "spaced");
    EXPECT_EQ(config.type, vexa::datastore::odbc);
    EXPECT_EQ(config.source_parameters, "my_dsn");
    EXPECT_EQ(config.extension_name, "libx.so");
}

TEST_F(ConfigFileTest, EveryTypeNameIsAccepted) {
    EXPECT_EQ(read(R"(type="sqlite3" source_parameters="s")").type, vexa::datastore::sqlite3);
    EXPECT_EQ(read(R"(type="odbc" source_parameters="s")").type, vexa::datastore::odbc);
    EXPECT_EQ(read(R"(type="other" source_parameters="s")").type, vexa::datastore::other);
}

TEST_F(ConfigFileTest, SourceParametersKeepTheirInnerText) {
    EXPECT_EQ(
        read(R"(type="sqlite3" source_parameters="source=&quot;/a b/c.db&quot;|read_only=true")")
            .source_parameters,
        "source=\"/a b/c.db\"|read_only=true");
}

TEST_F(ConfigParserTest, RootOfAnotherNameGivesOnlyTheEntryFields) {
    vexa::test::write_file(config_dir() + "/other.xml",
                           "<settings type=\"bogus\" instance_name=\"ignored\"/>");
    auto const configs = parse_group(
        R"(<datastores><group path="lib"><entry config_file="other.xml">libsqlite.so</entry>)"
        R"(</group></datastores>)");
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].type, vexa::datastore::sqlite3);
    EXPECT_EQ(configs[0].instance_name, "");
    EXPECT_EQ(configs[0].extension_name, "libsqlite.so");
    EXPECT_EQ(configs[0].extension_path, root_ + "/lib");
    EXPECT_EQ(configs[0].source_parameters, "");
    EXPECT_TRUE(configs[0].source_types.none());
}

// --- parse_xml directly ----------------------------------------------------------

TEST(ParseXml, NullRootReturnsFalse) {
    DataStoreConfig config;
    EXPECT_FALSE(DataStoreParseUtility::parse_xml(nullptr, config));
}

TEST(ParseXml, RootOfAnotherNameReturnsTrueAndLeavesTheRecord) {
    std::string const text = R"(<Configuration type="odbc" source_parameters="dsn"/>)";
    Document document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), "c.xml", nullptr, 0));
    ASSERT_TRUE(document);
    DataStoreConfig config;
    config.instance_name = "kept";
    EXPECT_TRUE(DataStoreParseUtility::parse_xml(xmlDocGetRootElement(document.get()), config));
    EXPECT_EQ(config.instance_name, "kept");
    EXPECT_EQ(config.type, vexa::datastore::sqlite3);
    EXPECT_EQ(config.source_parameters, "");
}

TEST(ParseXml, SourceTypesReplaceEarlierBits) {
    std::string const text =
        R"(<configuration type="odbc" source_parameters="dsn" source_types="stream"/>)";
    Document document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), "c.xml", nullptr, 0));
    ASSERT_TRUE(document);
    DataStoreConfig config;
    config.source_types.set(vexa::datastore::data);
    EXPECT_TRUE(DataStoreParseUtility::parse_xml(xmlDocGetRootElement(document.get()), config));
    EXPECT_EQ(config.source_types.to_string(), "10");
    EXPECT_EQ(config.type, vexa::datastore::odbc);
    EXPECT_EQ(config.source_parameters, "dsn");
}

// --- generate_path -------------------------------------------------------------

TEST(GeneratePath, HomePathIsExpandedNotRootedAtTheBase) {
    vexa::test::ScopedEnv env("HOME", "/home/someone");
    EXPECT_EQ(DataStoreParseUtility::generate_path("$HOME/cfg", "a.xml", "/base"),
              "/home/someone/cfg/a.xml");
}

TEST(GeneratePath, RelativePathIsRootedAtTheBase) {
    EXPECT_EQ(DataStoreParseUtility::generate_path("cfg", "a.xml", "/base"), "/base/cfg/a.xml");
}

TEST(GeneratePath, EmptyPathIsTheBase) {
    EXPECT_EQ(DataStoreParseUtility::generate_path("", "a.xml", "/base/etc"), "/base/etc/a.xml");
    EXPECT_EQ(DataStoreParseUtility::generate_path("", "", "/base/etc/"), "/base/etc");
}

TEST(GeneratePath, AbsolutePathIgnoresTheBase) {
    EXPECT_EQ(DataStoreParseUtility::generate_path("/opt//lib/", "", "/base"), "/opt/lib");
}

TEST(GeneratePath, DotPathIsTakenAgainstTheCurrentDirectory) {
    std::string const cwd = std::filesystem::current_path().string();
    EXPECT_EQ(DataStoreParseUtility::generate_path("./cfg", "a.xml", "/base"), cwd + "/cfg/a.xml");
}

TEST(GeneratePath, DotsAndDoubledSlashesAreNormalised) {
    EXPECT_EQ(DataStoreParseUtility::generate_path("lib", "", "/opt/app/lib/quarn64/../../"),
              "/opt/app/lib");
}

// --- the shipped example -------------------------------------------------------

TEST(ShippedGroupDocument, NamesTheDefaultSqliteInstance) {
    ScopedInstallPath install_path(VEXA_BUILD_ROOT);
    Document document(xmlReadFile(VEXA_BUILD_ROOT "/etc/datastore/datastores.xml", nullptr, 0));
    ASSERT_TRUE(document);
    auto const configs = DataStoreParseUtility::parse_db_configs(
        xmlDocGetRootElement(document.get()), fallback_record());
    ASSERT_EQ(configs.size(), 1u);
    EXPECT_EQ(configs[0].type, vexa::datastore::sqlite3);
    EXPECT_EQ(configs[0].instance_name, "vexa_default");
    EXPECT_EQ(configs[0].extension_name, "libsqlite.so");
    EXPECT_EQ(configs[0].extension_path, vexa::fs::abspath(VEXA_BUILD_ROOT) + "/datastore/quarn64");
    EXPECT_EQ(configs[0].source_parameters, "source=$HOME/.vexa/2021.4.0/vexa.db|read_only=false");
    EXPECT_EQ(configs[0].source_types.to_string(), "01");
}

}  // namespace
