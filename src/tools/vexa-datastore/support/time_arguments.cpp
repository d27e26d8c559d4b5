#include "support/time_arguments.h"

#include <cctype>
#include <chrono>
#include <ctime>
#include <limits>
#include <map>

#include "support/options.h"

namespace vexa::tool {

namespace {

std::map<char, std::int64_t> const kUnitSeconds{
    {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};

bool parse_duration(std::string const& text, std::int64_t& seconds) {
    if (text.size() < 2 || kUnitSeconds.count(text.back()) == 0) {
        return false;
    }
    std::int64_t count = 0;
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])) ||
            count > std::numeric_limits<std::int32_t>::max()) {
            return false;
        }
        count = count * 10 + (text[i] - '0');
    }
    seconds = count * kUnitSeconds.at(text.back());
    return count > 0;
}

bool parse_date(std::string const& text, bool utc, std::int64_t& seconds) {
    for (char const* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M",
                               "%Y-%m-%dT%H:%M", "%Y-%m-%d"}) {
        std::tm broken_down{};
        char const* end = strptime(text.c_str(), format, &broken_down);
        if (end != nullptr && *end == '\0') {
            broken_down.tm_isdst = -1;
            seconds = utc ? timegm(&broken_down) : std::mktime(&broken_down);
            return true;
        }
    }
    return false;
}

}  // namespace

std::int64_t duration_seconds(std::string const& text, std::string const& option) {
    std::int64_t seconds = 0;
    if (!parse_duration(text, seconds)) {
        throw UsageError(option + ": \"" + text +
                         "\" is not a duration (a number and s, m, h, d or w, e.g. 15m or 30d)");
    }
    return seconds;
}

std::int64_t point_in_time(std::string const& text, std::string const& option, std::int64_t now,
                           bool utc) {
    std::int64_t seconds = 0;
    if (parse_duration(text, seconds)) {
        return now - seconds;
    }
    if (parse_date(text, utc, seconds)) {
        return seconds;
    }
    throw UsageError(option + ": \"" + text +
                     "\" is neither a duration (15m, 30d) nor a date (2026-11-22, "
                     "2026-11-22 04:21:59)");
}

namespace {

template <class Unit>
std::int64_t now_in() {
    return std::chrono::duration_cast<Unit>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

std::int64_t now_seconds() { return now_in<std::chrono::seconds>(); }

std::int64_t now_microseconds() { return now_in<std::chrono::microseconds>(); }

}  // namespace vexa::tool
