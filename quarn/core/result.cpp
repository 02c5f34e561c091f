#include "quarn/core/result.h"

#include <algorithm>

namespace Quarn {

s_str MessageOf(std::string_view error) {
    s_str message;
    while (!error.empty()) {
        std::string_view line = error.substr(0, error.find('\n'));
        error.remove_prefix(std::min(line.size() + 1, error.size()));
        line.remove_prefix(std::min(line.find_first_not_of("\t "), line.size()));
        constexpr std::string_view Start = "Error : ";
        if (line.starts_with(Start)) line.remove_prefix(Start.size());
        (message += message.IsEmpty() ? "" : "\n") += line;
    }
    return message;
}

} // namespace Quarn
