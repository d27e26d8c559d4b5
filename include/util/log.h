// Logging: one short-lived ErrorLog object per message.
//
//   vexa::log::ErrorLog(__FILE__, __func__, __LINE__, 3).stream() << "text";
//
// The message is written when the object is destroyed, without any prefix,
// if its level is not greater than LOG_LEVEL: followed by "\n" on standard
// error when LOG_OUTPUT is 0, otherwise to the system log with the level as
// priority. Levels are syslog priorities (3 error, 4 warning, 7 debug).
#ifndef VEXA_UTIL_LOG_H_
#define VEXA_UTIL_LOG_H_

#include <sstream>

#include <datastore/export.h>

namespace vexa::log {

// The highest level still written. Starts at 4 (warning).
extern VEXA_DATASTORE_EXPORT int LOG_LEVEL;
// 0: standard error; any other value: the system log. Starts at 0.
extern VEXA_DATASTORE_EXPORT int LOG_OUTPUT;

// Thread safety: one object belongs to one thread; objects of several threads
// may write at once. LOG_LEVEL and LOG_OUTPUT are set before threads start.
class VEXA_DATASTORE_EXPORT ErrorLog {
  public:
    // The source position is accepted for the caller's convenience and not
    // written: messages carry only the text written into stream().
    ErrorLog(char const* file, char const* function, unsigned int line, int level);
    explicit ErrorLog(int level);
    ~ErrorLog();

    ErrorLog(ErrorLog const&) = delete;
    ErrorLog& operator=(ErrorLog const&) = delete;

    std::stringstream& stream();

  private:
    std::stringstream stream_;
    int level_;
};

}  // namespace vexa::log

#endif  // VEXA_UTIL_LOG_H_
