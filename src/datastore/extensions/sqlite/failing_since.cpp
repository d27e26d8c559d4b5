// OP_FAILING_SINCE as the SQLite plug-in serves it: four statements
// prepared once per call, each pair bound into them in turn.
#include <datastore/vocabulary.h>

#include "pair_lookups.h"
#include "planner_statistics.h"
#include "sqlite_calls.h"
#include "sqlite_extension.h"
#include "statements.h"
#include "time_limit.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

class SqlitePairLookups : public common::PairLookups {
  public:
    explicit SqlitePairLookups(::sqlite3* db)
        : db_(db),
          last_pass_{prepare(db, common::last_pass_query(false)),
                     prepare(db, common::last_pass_query(true))},
          first_run_from_{prepare(db, common::first_run_from_query(false)),
                          prepare(db, common::first_run_from_query(true))} {}

    std::optional<std::int64_t> last_pass(RunPairBound const& pair, bool null_option) override {
        sqlite3_stmt* const s = bound(last_pass_[null_option], pair, null_option);
        std::optional<std::int64_t> pass;
        if (step(s) && sqlite3_column_type(s, 0) != SQLITE_NULL) {
            pass = sqlite3_column_int64(s, 0);
        }
        return pass;
    }

    std::optional<common::StoredRun> first_run_from(RunPairBound const& pair, bool null_option,
                                                    std::int64_t from) override {
        sqlite3_stmt* const s = bound(first_run_from_[null_option], pair, null_option);
        sqlite3_bind_int64(s, null_option ? 3 : 4, from);
        std::optional<common::StoredRun> run;
        if (step(s)) {
            run = common::StoredRun{sqlite3_column_int64(s, 0), sqlite3_column_int64(s, 1),
                                    sqlite3_column_int64(s, 2)};
        }
        return run;
    }

  private:
    // `statement` reset and bound to the pair; the caller's texts outlive
    // the step.
    static sqlite3_stmt* bound(Statement const& statement, RunPairBound const& pair,
                               bool null_option) {
        sqlite3_stmt* const s = statement.get();
        sqlite3_reset(s);
        bind_text(s, 1, pair.provider);
        bind_text(s, 2, pair.hostname);
        if (!null_option) {
            bind_text(s, 3, pair.option_id);
        }
        return s;
    }

    // Whether `s` yielded a row; throws with SQLite's text when it failed.
    bool step(sqlite3_stmt* s) {
        int const rc = sqlite3_step(s);
        if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
            fail(db_);
        }
        return rc == SQLITE_ROW;
    }

    ::sqlite3* db_;
    Statement last_pass_[2];  // by null_option
    Statement first_run_from_[2];
};

}  // namespace

int SqliteExtension::failing_since_operation(std::vector<RunPairBound> const& pairs,
                                             std::vector<RunPairHistory>& out) {
    std::lock_guard<FairMutex> const lock(mutex_);
    if (db_ == nullptr) {
        return OPERATION_UNSUCCESSFULL;
    }
    refresh_statistics_after_inserts();
    out = within_time_limit(db_.get(), time_limit(), [&] {
        SqlitePairLookups lookups(db_.get());
        return common::look_up_pairs(pairs, lookups);
    });
    return OPERATION_SUCCESSFULL;
}

}  // namespace vexa::datastore::sqlite_plugin
