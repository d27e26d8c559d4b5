#include "time_text.h"

#include <ctime>

namespace vexa::tool {

std::string readable_time(std::int64_t seconds) {
    if (seconds == 0) {
        return "";
    }
    std::time_t time = static_cast<std::time_t>(seconds);
    std::tm local{};
    char text[32];
    if (localtime_r(&time, &local) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local) == 0) {
        return std::to_string(seconds);
    }
    return text;
}

}  // namespace vexa::tool
