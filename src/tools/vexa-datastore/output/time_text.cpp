#include "output/time_text.h"

#include <ctime>

namespace vexa::tool {

std::string readable_time(std::int64_t seconds, bool utc) {
    if (seconds == 0) {
        return "";
    }
    std::time_t time = static_cast<std::time_t>(seconds);
    std::tm broken_down{};
    char text[64];
    bool converted = utc ? gmtime_r(&time, &broken_down) != nullptr
                         : localtime_r(&time, &broken_down) != nullptr;
    if (!converted ||
        std::strftime(text, sizeof text, utc ? "%Y-%m-%d %H:%M:%S UTC" : "%Y-%m-%d %H:%M:%S %Z",
                      &broken_down) == 0) {
        return std::to_string(seconds);
    }
    return text;
}

Cell time_cell(std::int64_t seconds, GlobalOptions const& global) {
    if (global.format == Format::table) {
        return readable_time(seconds, global.utc);
    }
    return seconds;
}

}  // namespace vexa::tool
