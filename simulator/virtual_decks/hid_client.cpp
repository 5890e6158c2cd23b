// Makes the library's calls for a test, one for each line that it is given:
//   {"call":"hid_write","device":0,"bytes":"0207..."}  ->  {"result":1024}
// An opened device is known by its number, in the order of opening.
#include "text.hpp"

#include <hidapi.h>

#include <nlohmann/json.hpp>

#include <iostream>
#include <string>
#include <vector>

namespace {

using nlohmann::ordered_json;
using namespace elvantris::simulator;

std::vector<hid_device*> devices;

// Each wide character as a number; null for a null pointer.
ordered_json characters(const wchar_t* text) {
    if (text == nullptr) return nullptr;
    auto result = ordered_json::array();
    for (; *text != L'\0'; ++text)
        result.push_back(static_cast<std::uint32_t>(*text));
    return result;
}

ordered_json enumerate(const ordered_json& request) {
    auto result = ordered_json::array();
    hid_device_info* const first = hid_enumerate(request["vendor"].get<unsigned short>(),
                                                 request["product"].get<unsigned short>());
    for (const hid_device_info* each = first; each != nullptr; each = each->next)
        result.push_back({{"path", each->path},
                          {"vendor", each->vendor_id},
                          {"product", each->product_id},
                          {"serial", characters(each->serial_number)},
                          {"name", characters(each->product_string)}});
    hid_free_enumeration(first);
    return result;
}

ordered_json open(const ordered_json& request) {
    hid_device* const device = hid_open_path(request["path"].get<std::string>().c_str());
    if (device == nullptr) return nullptr;
    devices.push_back(device);
    return devices.size() - 1;
}

ordered_json serial(hid_device* device) {
    wchar_t text[256] = {};
    return hid_get_serial_number_string(device, text, 256) == 0 ? characters(text) : nullptr;
}

ordered_json read(hid_device* device, int limit) {
    unsigned char buffer[512] = {};
    const int count = hid_read_timeout(device, buffer, sizeof buffer, limit);
    if (count < 0) return count;
    return to_hex({reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(count)});
}

ordered_json answer(const ordered_json& request) {
    const auto call = request["call"].get<std::string>();
    if (call == "hid_init") return hid_init();
    if (call == "hid_exit") return hid_exit();
    if (call == "hid_enumerate") return enumerate(request);
    if (call == "hid_open_path") return open(request);
    hid_device* const device = devices.at(request["device"].get<std::size_t>());
    if (call == "hid_close") {
        hid_close(device);
        return nullptr;
    }
    if (call == "hid_set_nonblocking") return hid_set_nonblocking(device, 1);
    if (call == "hid_get_serial_number_string") return serial(device);
    if (call == "hid_read_timeout") return read(device, request.value("limit", 0));
    const std::string bytes = from_hex(request["bytes"].get<std::string>()).value();
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    if (call == "hid_write") return hid_write(device, data, bytes.size());
    if (call == "hid_send_feature_report")
        return hid_send_feature_report(device, data, bytes.size());
    throw std::runtime_error("no such call: " + call);
}

} // namespace

int main() {
    try {
        for (std::string line; std::getline(std::cin, line);)
            std::cout << ordered_json{{"result", answer(ordered_json::parse(line))}} << std::endl;
    } catch (const std::exception& error) {
        std::cerr << "hid_client: " << error.what() << std::endl;
        return 1;
    }
}
