#include "timeout_seconds.h"

#include <stdexcept>

namespace vexa::datastore::common {

std::chrono::milliseconds timeout_seconds(std::string const& seconds) {
    std::string::size_type const point = seconds.find('.');
    std::string const whole = seconds.substr(0, point);
    std::string const fraction = point == std::string::npos ? "" : seconds.substr(point + 1);
    auto const digits = [](std::string const& part) {
        return part.find_first_not_of("0123456789") == std::string::npos;
    };
    // Nine digits of seconds are thirty years: more is a mistake.
    if (whole.empty() || whole.size() > 9 || !digits(whole) ||
        (point != std::string::npos && (fraction.empty() || !digits(fraction)))) {
        throw std::runtime_error("timeout must be seconds such as 5 or 0.25, not \"" + seconds +
                                 "\"");
    }
    std::string const milli = (fraction + "000").substr(0, 3);
    bool const rest =
        fraction.size() > 3 && fraction.find_first_not_of('0', 3) != std::string::npos;
    return std::chrono::milliseconds(std::stoll(whole) * 1000 + std::stoll(milli) + (rest ? 1 : 0));
}

}  // namespace vexa::datastore::common
