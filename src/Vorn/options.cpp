#include "Vorn/options.h"

#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "Kestrane/_ini.h"
#include "Vorn/const.h"

namespace Vorn35 {

Runtime_options g_options;

namespace {

constexpr double c_day = 86400;
constexpr std::size_t c_most_listeners = 1024;

Runtime_options profile(std::string_view _word, std::string_view _source) {
    if (_word == "standard") return Runtime_options::standard();
    if (_word == "reliable") return Runtime_options::reliable();
    throw std::invalid_argument(std::string(_source) + ": no profile \"" + std::string(_word) +
                                "\"; there are \"standard\" and \"reliable\"");
}

}  // namespace

Runtime_options configured_options() {
    if (const char* const word = std::getenv("VORN35_PROFILE"); word != nullptr && *word != 0) {
        return profile(word, "VORN35_PROFILE");
    }
    return profile(Kestrane::get_optional_lwr_string_from_ini_file(c_ini_file, c_ini_section, "PROFILE", "standard"),
                   "PROFILE in vorn.ini");
}

void apply_environment(Runtime_options* _options_) {
    const char* const word = std::getenv("VORN35_COUNTERS");
    if (word == nullptr || *word == 0) return;
    if (std::string_view(word) != "0" && std::string_view(word) != "1") {
        throw std::invalid_argument("VORN35_COUNTERS: \"" + std::string(word) + "\" is neither \"0\" nor \"1\"");
    }
    _options_->share_counters = *word == '1';
}

Runtime_options Runtime_options::standard() {
    return {};
}

Runtime_options Runtime_options::reliable() {
    Runtime_options options;
    options.exact_waits = true;
    options.receive_messages = 4096;
    options.keep_notices = true;
    options.exact_order = true;
    options.repeat_by_port = true;
    options.retry_resources = true;
    options.opening_limit = 10;
    options.silence_limit = 10;
    options.tell_silent_clients = true;
    options.send_bytes = std::size_t{64} << 20;
    options.expire_queued = true;
    options.complete_stops = true;
    options.tell_names_at_once = true;
    options.restore_links = true;
    options.current_values = true;
    options.share_counters = true;
    return options;
}

std::string Runtime_options::problem() const {
    if (listeners > c_most_listeners) return "listeners: more than 1,024";
    // Not a number is out of every range.
    if (!(opening_limit >= 0 && opening_limit <= c_day)) return "opening_limit: not between 0 and 86,400 seconds";
    if (!(silence_limit >= 2 && silence_limit <= c_day)) return "silence_limit: not between 2 and 86,400 seconds";
    return {};
}

}  // namespace Vorn35
