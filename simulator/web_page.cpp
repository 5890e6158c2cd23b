#include "web_page.hpp"

#include "received_bytes.hpp"
#include "web_page_text.hpp"

#include <nlohmann/json.hpp>

namespace elvantris::simulator {

namespace {

constexpr std::string_view place_of_server = "{{server}}";

// A name that holds a closing script tag must not end the script.
std::string script_safe(std::string text) {
    for (std::size_t at = 0; (at = text.find('<', at)) != std::string::npos;)
        text.replace(at, 1, "\\u003c");
    return text;
}

} // namespace

std::string web_page(const std::string& serial, const std::string& workstation) {
    std::string page(web_page_text);
    const std::string server =
        script_safe(json_text({{"serial", serial}, {"workstation", workstation}}));
    return page.replace(page.find(place_of_server), place_of_server.size(), server);
}

} // namespace elvantris::simulator
