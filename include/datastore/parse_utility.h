// Datastore configuration: reading configuration files, the registry of open
// instances, completion of vacant fields, registration through the
// controller, and test datastores built from SQL scripts.
#ifndef VEXA_DATASTORE_PARSE_UTILITY_H_
#define VEXA_DATASTORE_PARSE_UTILITY_H_

#include <sys/time.h>

#include <bitset>
#include <string>
#include <vector>

#include <datastore/config.h>
#include <datastore/export.h>

typedef struct _xmlNode xmlNode;

namespace vexa::datastore {

// Thread safety: the registry and the directories are plain process-wide
// data; registering, clear_db_vector() and setting a directory need external
// synchronisation with every other use of them. Reading configuration files
// keeps no state and may run from several threads at once.
class VEXA_DATASTORE_EXPORT DataStoreParseUtility {
  public:
    // --- configuration files -------------------------------------------------

    // Builds the record of one group entry from the datastore configuration
    // file it names and appends it to `out`. Throws std::runtime_error when
    // the file cannot be read or holds a bad attribute.
    struct VEXA_DATASTORE_EXPORT ParseConfig {
        bool operator()(std::string group_path, std::string config_path, std::string config_file,
                        std::string entry_text, std::vector<DataStoreConfig>& out);
    };

    // The records of all entries under the "group" children of `node`, in
    // document order; one copy of `fallback` when `node` is null or nothing
    // was read. A faulty entry ends the walk, keeping the records before it.
    static std::vector<DataStoreConfig> parse_db_configs(xmlNode* node,
                                                         DataStoreConfig const& fallback);
    // Reads the attributes of a "configuration" root element into `config`.
    // False only for a null root; another root name leaves `config` alone.
    static bool parse_xml(xmlNode* root, DataStoreConfig& config);
    // Joins `path` (or `base` when it is empty; rooted at `base` unless it
    // begins with "$", "." or "/") and `file`, expands variables, makes it
    // absolute and collapses runs of "/".
    static std::string generate_path(std::string path, std::string file, std::string base);

    // --- registry and discovery ----------------------------------------------

    static std::vector<DataStoreInstance>& get_datastore_vector();
    // The registry pairs named by `names`, in the order of `names`; unknown
    // names are skipped.
    static std::vector<DataStoreInstance> locate_datastores(std::vector<std::string> names);
    // Fills empty fields with the defaults: instance name, plug-in name by
    // type, the default extension directory, the default data source by type,
    // and the `data` bit.
    static void fillInVacantFields(std::vector<DataStoreConfig>& configs);
    // The records (or, with `open_instances`, the open pairs) of `from` that
    // hold at least the kinds in `source_types` and whose type is in `types`
    // (all types when empty).
    static CombinedRType get_configurations_by_type(CombinedRType const& from,
                                                    std::bitset<2> source_types,
                                                    std::vector<DatabaseType> types,
                                                    bool open_instances);
    static std::string get_default_install_path();
    static std::string get_default_extension_path();
    // Store the expanded, absolute form of `path`; false, changing nothing,
    // for an empty `path`.
    static bool set_default_install_path(std::string path);
    static bool set_default_extension_path(std::string path);
    static bool set_unique_timestamp(timeval stamp);
    static timeval get_unique_timestamp();

    // --- registration --------------------------------------------------------

    // Loads and opens `configs` (completed in place) through the controller
    // and appends every opened instance to the registry. Returns 0. Errors of
    // the controller pass through.
    static int insert_db_instance(std::vector<DataStoreConfig>& configs);
    static int initializeDatastoreExtensions(std::vector<DataStoreConfig>& configs);
    // Closes every instance through the controller and empties the registry.
    static void clear_db_vector();

    // --- test datastores -----------------------------------------------------

    // Runs every line of `sql_file` as one SQL command against `db_file`,
    // creating it when missing. Throws std::runtime_error "Unable to open
    // datastore file ", "Unable to open sql file for reading " or "SQL command
    // error: " followed by the path or line.
    static void create_from_sqlfile(std::string const& sql_file, std::string const& db_file);
    // Builds `db_file` from `sql_file` and registers it as an SQLite instance
    // whose plug-in lies in the directory named by VEXA_DSE_PATH (required).
    static void load_utest_sql_file(std::string sql_file, std::string db_file, bool reset,
                                    std::string instance_name, bool read_only);
    // Registers `config` as it stands; returns 0.
    static int load_utest_config(DataStoreConfig config, bool reset);

    // --- process-wide state --------------------------------------------------

    static std::vector<DataStoreInstance> db_vec;  // open instances, in order
    static std::string default_install_path;       // starts as INSTALL_ROOT()
    static std::string default_extension_path;     // starts as DEFAULT_EXTENSION_PATH
    static timeval unique_timestamp;               // starts at zero
};

}  // namespace vexa::datastore

#endif  // VEXA_DATASTORE_PARSE_UTILITY_H_
