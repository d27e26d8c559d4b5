// Datastores as the benchmarks see them: SQLite instances registered through
// the library, and the index-free copy that the baselines of the indexed
// queries read.
#ifndef VEXA_BENCH_DATASTORES_H_
#define VEXA_BENCH_DATASTORES_H_

#include <string>
#include <vector>

#include <datastore/config.h>

namespace vexa::bench {

// Registers `file` as the SQLite instance `instance` through the registry
// and the controller, with the plug-in of this build (or installation).
void register_sqlite(std::string const& instance, std::string const& file, bool read_only);

// A registered instance that stays open but out of the registry until
// shown: execControl asks every registered datastore, so a figure about one
// datastore must let the registry hold that one alone.
class SoleDatastore {
  public:
    // The registry must be empty; it is empty again afterwards.
    SoleDatastore(std::string const& instance, std::string const& file, bool read_only);

    // Runs `work` with this instance as the registry's only entry.
    template <class Work>
    auto with(Work&& work) {
        Shown shown(held_);
        return work();
    }

  private:
    struct Shown {
        explicit Shown(std::vector<datastore::DataStoreInstance>& held);
        ~Shown();
        std::vector<datastore::DataStoreInstance>& held;
    };
    std::vector<datastore::DataStoreInstance> held_;
};

// Copies the database `from` to `to` (replacing it) and drops every index
// of the provider table in the copy, and the latest-row state, so that the
// copy answers with the composed queries over the bare table. Planner
// statistics of the table stay as they were; those of the dropped indexes
// go with them.
void copy_without_indexes(std::string const& from, std::string const& to);

// Drops the triggers that keep the latest-row state of `file`, and with
// `table` the state itself: without the table a read-only instance answers
// with the composed query; without the triggers a writable one stores rows
// as it did before there was a state.
void drop_latest_state(std::string const& file, bool table);

// Copies the database `from` to `to` (replacing it) and writes the copy to
// disk before returning: otherwise the first checkpoint of whatever runs on
// the copy next would write the whole file back as part of what is timed.
void copy_database(std::string const& from, std::string const& to);

// Removes an SQLite database file and its -wal and -shm companions.
void remove_database(std::string const& file);

}  // namespace vexa::bench

#endif  // VEXA_BENCH_DATASTORES_H_
