#include "integration/support/captured_log.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"
#include "systems/controller_registry.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t ample = 10'000'000;
constexpr steady_time first_round{std::chrono::hours{1}};

void put(const std::string& path, std::string_view content) {
    ASSERT_EQ(write_whole_file(path, content), write_outcome::written);
}

// Stands in a folder of its own for as long as it lives.
class working_in {
public:
    explicit working_in(const std::string& folder) : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(folder);
    }
    ~working_in() { std::filesystem::current_path(before_); }
    working_in(const working_in&) = delete;
    working_in& operator=(const working_in&) = delete;
    working_in(working_in&&) = delete;
    working_in& operator=(working_in&&) = delete;

private:
    std::filesystem::path before_;
};

bool is_empty_folder(const temporary_folder& folder) {
    return std::filesystem::is_empty(folder.path());
}

} // namespace

TEST(registry_file, that_is_missing_leaves_the_registry_as_it_is) {
    const temporary_folder folder;
    controller_registry registry(folder.file("operator-control.json"));
    registry.set_ui_port(6000);
    const std::string before = registry.to_json();
    registry.load();
    EXPECT_EQ(registry.to_json(), before);
    EXPECT_TRUE(is_empty_folder(folder));
}

TEST(registry_file, holds_the_json_text_of_the_registry_without_a_line_end) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    put(path, std::string(50'000, 'x'));
    const controller_registry registry(path);
    registry.save();
    EXPECT_EQ(read_whole_file(path, ample), registry.to_json());
    EXPECT_FALSE(path_exists(path + ".tmp"));
}

TEST(registry_file, brings_the_lasting_state_into_the_next_run) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    controller_registry first(path);
    first.merge_discovered(
        {{.address = "10.0.0.1",
          .webPort = 8080,
          .workstation = "B\xc3\xbchne \"1\"",
          .serial = "M"},
         {.address = "10.0.0.2", .webPort = 5000, .workstation = "", .serial = "B"}},
        first_round);
    first.configure(true, "M", "B");
    first.set_ui_ready("M", true);
    first.set_shared_function_ids({3, 30});
    first.set_ui_port(6001);
    first.set_open_browser_on_start(false);
    first.set_policy_sync(true, "done");
    first.set_active_override(true, "B");
    first.save();

    controller_registry second(path);
    second.load();
    EXPECT_TRUE(second.enabled());
    EXPECT_TRUE(second.controller_configured());
    EXPECT_TRUE(second.has_pair());
    EXPECT_EQ(second.ui_port(), 6001);
    EXPECT_NE(second.to_json().find(R"("runtimeUiPort":6001)"), std::string::npos);
    EXPECT_FALSE(second.open_browser_on_start());
    EXPECT_EQ(second.shared_function_ids(), (std::set<std::int32_t>{3, 30}));
    EXPECT_FALSE(second.policy_synchronized());
    const auto main = second.find_main();
    ASSERT_TRUE(main);
    EXPECT_EQ(main->serial, "M");
    EXPECT_EQ(main->workstation, "B\xc3\xbchne \"1\"");
    EXPECT_EQ(main->address, "10.0.0.1");
    EXPECT_EQ(main->webPort, 8080);
    EXPECT_FALSE(main->online);
    EXPECT_FALSE(main->uiReady);
    EXPECT_FALSE(second.active_system());

    second.set_online("M", true, first_round);
    EXPECT_EQ(second.active_role(), "main") << "the override isn't kept";
}

TEST(registry_file, with_another_control_port_has_no_effect) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    put(path, R"({"systems":[{"serial":"S","controlPort":9999}]})");
    controller_registry registry(path);
    registry.load();
    registry.save();
    EXPECT_EQ(registry.find_system("S")->controlPort, 1256);
    EXPECT_NE(read_whole_file(path, ample)->find(R"("controlPort":1256)"), std::string::npos);
}

TEST(registry_file, that_is_damaged_gives_defaults_field_by_field) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    put(path,
        std::string("\0\xff{\"uiPort\":6000,\"enabled\":tru,\"systems\":[{\"serial\":\"S\"}", 52));
    const std::string damaged = read_whole_file(path, ample).value();
    const captured_log log;
    controller_registry registry(path);
    registry.load();
    EXPECT_EQ(registry.ui_port(), 6000);
    EXPECT_FALSE(registry.enabled());
    EXPECT_TRUE(registry.systems().empty());
    EXPECT_EQ(registry.shared_function_ids().size(), 23U);
    EXPECT_EQ(log.error(), "[settings] " + path +
                               " is damaged; defaults take the place of what is missing, and the "
                               "pairing may be lost. It is kept as " +
                               path + ".unreadable-1 before anything is saved over it.\n");
    registry.save();
    EXPECT_EQ(read_whole_file(path + ".unreadable-1", ample), damaged);
    EXPECT_EQ(read_whole_file(path, ample), registry.to_json());
}

TEST(registry_file, is_saved_into_folders_that_do_not_stand_yet) {
    const temporary_folder folder;
    const std::string path = folder.file("one/two/operator-control.json");
    const controller_registry registry(path);
    registry.save();
    EXPECT_EQ(read_whole_file(path, ample), registry.to_json());
}

TEST(registry_file, is_saved_into_the_current_folder_without_one_in_its_path) {
    const temporary_folder folder;
    const working_in there(folder.path());
    const controller_registry registry("x.json");
    registry.save();
    EXPECT_EQ(read_whole_file(folder.file("x.json"), ample), registry.to_json());
}

TEST(registry_file, stays_whole_if_the_temporary_file_cannot_be_opened) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    put(path, "old");
    ASSERT_TRUE(create_folders(path + ".tmp"));
    controller_registry(path).save();
    EXPECT_EQ(read_whole_file(path, ample), "old");
    EXPECT_TRUE(path_exists(path + ".tmp"));
}

TEST(registry_file, leaves_no_temporary_file_behind_if_it_cannot_be_replaced) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    ASSERT_TRUE(create_folders(path_inside(path, "inner")));
    controller_registry registry(path);
    registry.save();
    EXPECT_FALSE(path_exists(path + ".tmp"));
    EXPECT_TRUE(path_exists(path_inside(path, "inner")));
    const captured_log log;
    const std::string before = registry.to_json();
    registry.load();
    EXPECT_EQ(registry.to_json(), before);
    EXPECT_NE(log.error(), "");
}

TEST(registry_file, is_not_saved_where_its_folder_cannot_be_made) {
    const temporary_folder folder;
    const std::string in_the_way = folder.file("file");
    put(in_the_way, "a file");
    controller_registry(path_inside(in_the_way, "operator-control.json")).save();
    EXPECT_EQ(read_whole_file(in_the_way, ample), "a file");
}

TEST(registry_file, with_an_empty_path_is_neither_loaded_nor_saved) {
    const temporary_folder folder;
    const working_in there(folder.path());
    controller_registry registry("");
    registry.set_ui_port(6000);
    registry.load();
    registry.save();
    EXPECT_EQ(registry.ui_port(), 6000);
    EXPECT_TRUE(is_empty_folder(folder));
}

TEST(registry_file, is_whole_at_every_moment_while_threads_change_and_save_it) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    controller_registry registry(path);
    const std::string messages[] = {std::string(100'000, 'a'), std::string(70'000, 'b')};
    std::string texts[2];
    for (std::size_t i = 0; i < 2; ++i) {
        registry.set_policy_sync(i == 0, messages[i]);
        texts[i] = registry.to_json();
    }
    registry.save();

    std::atomic<int> running{3};
    const auto change_and_save = [&](std::size_t turn) {
        for (int i = 0; i < 20; ++i, turn = 1 - turn) {
            registry.set_policy_sync(turn == 0, messages[turn]);
            registry.save();
        }
        --running;
    };
    std::thread threads[] = {std::thread(change_and_save, 0U), std::thread(change_and_save, 1U),
                             std::thread(change_and_save, 0U)};
    while (running > 0) {
        const auto content = read_whole_file(path, ample);
        EXPECT_TRUE(!content || *content == texts[0] || *content == texts[1]);
    }
    for (std::thread& thread : threads)
        thread.join();

    registry.save();
    EXPECT_EQ(read_whole_file(path, ample), registry.to_json());
    EXPECT_FALSE(path_exists(path + ".tmp"));
}
