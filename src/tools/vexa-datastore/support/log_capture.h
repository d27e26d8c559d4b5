// The library's log lines, caught instead of printed.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_LOG_CAPTURE_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_LOG_CAPTURE_H_

#include <sstream>
#include <streambuf>
#include <string>

namespace vexa::tool {

// Plug-ins say why an instance did not open only in the log, at level 4.
// For the life of the object the log takes messages up to level 4, the
// plug-ins' reasons, and keeps them instead of writing them to standard
// error.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    // The lines logged so far, each ending in "\n".
    std::string text() const { return captured_.str(); }
    // The last line logged, without its "\n"; "" when none was.
    std::string last_line() const;

  private:
    std::ostringstream captured_;
    std::streambuf* saved_buffer_;
    int saved_level_;
    int saved_output_;
};

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_LOG_CAPTURE_H_
