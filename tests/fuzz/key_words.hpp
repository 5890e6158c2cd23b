#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

// Whether a text of our own holds a string value that is spelt like one of its keys. Our readers
// take the first such text for the key, wherever it stands, so only without one must everything
// that was written read back the same.
inline bool has_value_like_key(std::string_view written) {
    std::vector<std::string_view> keys;
    std::vector<std::string_view> values;
    for (std::size_t at = written.find('"'); at < written.size(); at = written.find('"', at)) {
        const std::size_t start = ++at;
        while (written[at] != '"')
            at += written[at] == '\\' ? 2 : 1;
        const std::string_view text = written.substr(start, at - start);
        ++at;
        (written.substr(at).starts_with(':') ? keys : values).push_back(text);
    }
    return std::ranges::any_of(values, [&](std::string_view value) {
        return std::ranges::find(keys, value) != keys.end();
    });
}
