#include "platform/linux/autostart_entry.hpp"

#include <gtest/gtest.h>

namespace elvantris::operator_control {
namespace {

TEST(autostart_entry, starts_the_program_without_a_browser) {
    EXPECT_EQ(autostart_entry("/usr/bin/elvantris-redundancy-control"),
              "[Desktop Entry]\n"
              "Type=Application\n"
              "Name=Elvantris Redundancy Control\n"
              "Icon=elvantris-redundancy-control\n"
              "Exec=\"/usr/bin/elvantris-redundancy-control\" --background\n");
}

TEST(autostart_entry, quotes_what_the_entrys_command_line_would_act_upon) {
    struct {
        const char* path;
        const char* command;
    } const cases[] = {
        {"/opt/two words/program", R"("/opt/two words/program")"},
        {"/opt/bühne/program", R"("/opt/bühne/program")"},
        {"/opt/50%/program", R"("/opt/50%%/program")"},
        {R"(/opt/"a"/program)", R"("/opt/\\"a\\"/program")"},
        {"/opt/$HOME`x`", R"("/opt/\\$HOME\\`x\\`")"},
        {R"(/opt/a\b)", R"("/opt/a\\\\b")"},
    };
    for (const auto& [path, command] : cases)
        EXPECT_NE(autostart_entry(path).find("Exec=" + std::string(command) + " --background\n"),
                  std::string::npos)
            << autostart_entry(path);
}

} // namespace
} // namespace elvantris::operator_control
