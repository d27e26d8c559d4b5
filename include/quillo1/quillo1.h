// quillo1: a small SQL connection library over SQLite.
//
//   quillo1::Connection* raw = nullptr;
//   if (quillo1::newConnection("/tmp/x.db", 0, &raw) != 0) { ... }
//   quillo1::AutoPtr<quillo1::Connection> connection(raw);
//   connection->issueCommand("CREATE TABLE t(a);");
#ifndef VEXA_QUILLO1_QUILLO1_H_
#define VEXA_QUILLO1_QUILLO1_H_

#include <string>

#include <datastore/export.h>

struct sqlite3;

namespace quillo1 {

// Thread safety: one thread at a time; callers sharing a connection lock it.
class VEXA_DATASTORE_EXPORT Connection {
  public:
    explicit Connection(::sqlite3* db);
    ~Connection();

    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    // Runs one SQL text (all statements in it). Returns 0 on success; an
    // empty text succeeds. On failure the database's message is kept in
    // lastError().
    int issueCommand(std::string const& sql);

    std::string const& lastError() const { return last_error_; }

  private:
    ::sqlite3* db_;
    std::string last_error_;
};

// Opens `file`, creating it when missing, and hands out a new Connection in
// *out (owned by the caller, usually through AutoPtr). `flags` is reserved
// and must be 0. Returns 0 on success; on failure *out is null.
VEXA_DATASTORE_EXPORT int newConnection(std::string const& file, int flags, Connection** out);

// Sole owner of a heap object, deleted when the AutoPtr goes out of scope.
// Thread safety: as the object it holds.
template <class T>
class AutoPtr {
  public:
    explicit AutoPtr(T* p = nullptr) : p_(p) {}
    ~AutoPtr() { delete p_; }

    AutoPtr(AutoPtr const&) = delete;
    AutoPtr& operator=(AutoPtr const&) = delete;

    T* get() const { return p_; }
    T* operator->() const { return p_; }
    T& operator*() const { return *p_; }
    explicit operator bool() const { return p_ != nullptr; }

    // Deletes the held object and takes ownership of `p`.
    void reset(T* p = nullptr) {
        if (p != p_) {
            delete p_;
            p_ = p;
        }
    }

  private:
    T* p_;
};

}  // namespace quillo1

#endif  // VEXA_QUILLO1_QUILLO1_H_
