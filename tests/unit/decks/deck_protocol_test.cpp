#include "decks/deck_protocol.hpp"

#include <gtest/gtest.h>

#include <limits>

using namespace elvantris::operator_control;

namespace {

const deck_info mini_deck{.serial = "A1",
                          .pid = "99",
                          .device_name = "Stream Deck Mini",
                          .device_path = "/dev/hidraw3",
                          .key_count = 6,
                          .key_width = 80,
                          .key_height = 80,
                          .image_format = "bmp",
                          .image_rotation = 90};

const std::string mini_deck_text =
    R"({"Serial":"A1","PID":"99","DeviceName":"Stream Deck Mini","KeyCount":6,)"
    R"("DevicePath":"/dev/hidraw3","KeyWidth":80,"KeyHeight":80,"ImageFormat":"bmp",)"
    R"("ImageRotation":90})";

// The one deck of a state that has one.
deck_view read_one_view(const std::string& deck) {
    const deck_state_reply reply = read_deck_state(R"({"decks":[)" + deck + "]}", 0);
    EXPECT_EQ(reply.decks.size(), 1U) << deck;
    return reply.decks.empty() ? deck_view{} : reply.decks.front();
}

deck_cue read_one_cue(const std::string& cue) {
    const deck_view view = read_one_view(R"({"scripts":[{"index":1,"cues":[)" + cue + "]}]}");
    return view.scripts.at(1).at(0);
}

std::vector<std::string> serials(const deck_state_reply& reply) {
    std::vector<std::string> found;
    for (const deck_view& view : reply.decks)
        found.push_back(view.serial);
    return found;
}

// "2:ABC", in the order of the view.
std::vector<std::string> images(const deck_view& view) {
    std::vector<std::string> found;
    for (const deck_key_image& key : view.keys)
        found.push_back(std::to_string(key.index) + ':' + key.image);
    return found;
}

// So many of the same, as a list.
std::string list_of(const std::string& object, std::size_t count) {
    std::string list = "[";
    for (std::size_t i = 0; i < count; ++i)
        (list += object) += ',';
    if (count > 0) list.pop_back();
    return list + ']';
}

using texts = std::vector<std::string>;

// Of all lists of a reply together.
constexpr std::size_t most_objects = 262'144;

} // namespace

TEST(write_registration, writes_all_of_each_deck_in_order) {
    deck_info other = mini_deck;
    other.serial = "a \"\\\n\xC3\xA9";
    other.pid = "96";
    other.device_name = "";
    other.device_path = R"(\\?\hid#1)";
    other.key_count = 15;
    EXPECT_EQ(write_registration("operator-control-PC", "PC", {mini_deck, other}),
              R"({"SessionId":"operator-control-PC","MachineName":"PC","Decks":[)" +
                  mini_deck_text +
                  R"(,{"Serial":"a \"\\\n)"
                  "\xC3\xA9"
                  R"(","PID":"96","DeviceName":"",)"
                  R"("KeyCount":15,"DevicePath":"\\\\?\\hid#1","KeyWidth":80,"KeyHeight":80,)"
                  R"("ImageFormat":"bmp","ImageRotation":90}]})");
}

TEST(write_registration, registers_an_empty_list_of_decks) {
    EXPECT_EQ(write_registration("s\"", "m\t", {}),
              R"({"SessionId":"s\"","MachineName":"m\t","Decks":[]})");
}

TEST(write_key_event, names_session_deck_and_key) {
    EXPECT_EQ(write_key_event("s", "A\"1", 31, true),
              R"({"SessionId":"s","Serial":"A\"1","Index":31,"IsDown":true})");
    EXPECT_EQ(write_key_event("s\\", "A", 0, false),
              R"({"SessionId":"s\\","Serial":"A","Index":0,"IsDown":false})");
}

TEST(write_page, names_session_deck_and_page) {
    EXPECT_EQ(write_page("s\"", "path:/dev/x", -2),
              R"({"SessionId":"s\"","Serial":"path:/dev/x","Page":-2})");
}

TEST(write_detach, names_the_session_alone) {
    EXPECT_EQ(write_detach("s\""), R"({"SessionId":"s\""})");
}

TEST(state_path, encodes_the_session_id) {
    struct {
        std::string session_id;
        std::string encoded;
    } const cases[] = {
        {"operator-control-PC 1", "operator-control-PC+1"},
        {"operator-control-a/b", "operator-control-a%2Fb"},
        {"AZaz09-._~", "AZaz09-._~"},
        {"@[`{/:", "%40%5B%60%7B%2F%3A"}, // the neighbours of letters and digits
        {"+&=?#%\"", "%2B%26%3D%3F%23%25%22"},
        {"\xC3\xA9\xFF\x7F\x01", "%C3%A9%FF%7F%01"},
        {std::string("\0\t", 2), "%00%09"},
        {"", ""},
    };
    for (const auto& [session_id, encoded] : cases)
        EXPECT_EQ(state_path(session_id, 0),
                  "/Home/OperatorDeckState?sessionId=" + encoded + "&since=0");
}

TEST(state_path, writes_since_in_decimal) {
    EXPECT_EQ(state_path("s", 42), "/Home/OperatorDeckState?sessionId=s&since=42");
    EXPECT_EQ(state_path("s", -7), "/Home/OperatorDeckState?sessionId=s&since=-7");
    EXPECT_EQ(state_path("s", std::numeric_limits<std::int64_t>::min()),
              "/Home/OperatorDeckState?sessionId=s&since=-9223372036854775808");
}

TEST(read_deck_state, reads_the_least_that_clears_a_key) {
    const deck_state_reply reply = read_deck_state(
        R"({"generation":7,"changed":true,"decks":[{"serial":"A","keys":[{"index":2,"data":""}]}]})",
        3);
    EXPECT_TRUE(reply.accepted);
    EXPECT_EQ(reply.generation, 7);
    EXPECT_TRUE(reply.changed);
    ASSERT_EQ(reply.decks.size(), 1U);
    EXPECT_EQ(reply.decks[0].serial, "A");
    EXPECT_EQ(reply.decks[0].page, 1);
    EXPECT_FALSE(reply.decks[0].use_splash);
    EXPECT_EQ(images(reply.decks[0]), (texts{"2:"}));
    EXPECT_TRUE(reply.decks[0].scripts.empty());
}

TEST(read_deck_state, takes_the_generation_of_the_request_without_one_of_its_own) {
    struct {
        std::string body;
        std::int64_t generation;
    } const cases[] = {
        {R"({"generation":7})", 7},
        {R"({"Generation":8})", 8},
        {R"({"Generation":8,"generation":7})", 8},
        {R"({"generation":7,"Generation":8})", 8},
        {R"({"generation":7,"Generation":null})", 7},
        {R"({"generation":"x","Generation":8})", 8},
        {R"({"generation":-1})", -1},
        {R"({"generation":9223372036854775807})", std::numeric_limits<std::int64_t>::max()},
        {R"({"generation":0})", 0},
        {R"({})", 55},
        {R"({"generation":null})", 55},
        {"", 55},
        {"<html>no JSON at all</html>", 55},
    };
    for (const auto& [body, generation] : cases) {
        const deck_state_reply reply = read_deck_state(body, 55);
        EXPECT_EQ(reply.generation, generation) << body;
        EXPECT_TRUE(reply.accepted) << body;
        EXPECT_FALSE(reply.changed) << body;
        EXPECT_TRUE(reply.decks.empty()) << body;
    }
}

TEST(read_deck_state, reads_changed_in_both_spellings) {
    struct {
        std::string body;
        bool changed;
    } const cases[] = {
        {R"({"changed":true})", true},
        {R"({"Changed":true})", true},
        {R"({"changed":true,"Changed":false})", false},
        {R"({"changed":false,"Changed":true})", true},
        {R"({"changed":true,"Changed":1})", true},
        {R"({"changed":"true"})", false},
        {R"({"changed":null})", false},
    };
    for (const auto& [body, changed] : cases)
        EXPECT_EQ(read_deck_state(body, 0).changed, changed) << body;
}

TEST(read_deck_state, takes_the_pascal_case_list_unless_it_holds_no_object) {
    struct {
        std::string body;
        texts decks;
    } const cases[] = {
        {R"({"decks":[{"serial":"A"},{"serial":"B"}]})", {"A", "B"}},
        {R"({"Decks":[{"serial":"A"}]})", {"A"}},
        {R"({"decks":[{"serial":"A"}],"Decks":[{"serial":"B"}]})", {"B"}},
        {R"({"Decks":[],"decks":[{"serial":"A"}]})", {"A"}},
        {R"({"Decks":[1,"{}",null],"decks":[{"serial":"A"}]})", {"A"}},
        {R"({"Decks":null,"decks":[{"serial":"A"}]})", {"A"}},
        {R"({"Decks":[{}],"decks":[{"serial":"A"}]})", {""}},
        {R"({"Decks":[{"serial":"A"}],"decks":[{"serial":"B"},{"serial":"C"}]})", {"A"}},
        {R"({"decks":[{"serial":"A"},7,"x",{"serial":"B"}]})", {"A", "B"}},
        {R"({"decks":[{"serial":"A"},{"serial":"A"}]})", {"A", "A"}},
        {R"({"decks":[{"serial":"A"},{"serial":"cut)", {}},
        {R"({"decks":{"serial":"A"}})", {}},
        {R"({"decks":[{"serial":"A"},},{"serial":"B"}]})", {"A"}},
    };
    for (const auto& [body, decks] : cases)
        EXPECT_EQ(serials(read_deck_state(body, 0)), decks) << body;
}

TEST(read_deck_state, reads_each_field_of_a_deck_in_both_spellings) {
    struct {
        std::string deck;
        std::string serial;
        std::int32_t page;
        bool use_splash;
    } const cases[] = {
        {R"({"serial":"A","page":3,"useSplash":true})", "A", 3, true},
        {R"({"Serial":"A","Page":3,"UseSplash":true})", "A", 3, true},
        {R"({"serial":"A","Serial":"B","page":3,"Page":4,"useSplash":true,"UseSplash":false})", "B",
         4, false},
        {R"({"Serial":"","serial":"A"})", "", 1, false},
        {R"({"Serial":5,"serial":"A"})", "A", 1, false},
        {R"({"Serial":"\q","serial":"A"})", "A", 1, false},
        {R"({"Serial":null,"serial":null,"Page":"x","page":"y"})", "", 1, false},
        {R"({"Page":"x","page":2})", "", 2, false},
        {R"({"page":-3})", "", -3, false},
        {R"({"page":99999999999})", "", std::numeric_limits<std::int32_t>::max(), false},
        {R"({"UseSplash":0,"useSplash":true})", "", 1, true},
        {R"({})", "", 1, false},
    };
    for (const auto& [deck, serial, page, use_splash] : cases) {
        const deck_view view = read_one_view(deck);
        EXPECT_EQ(view.serial, serial) << deck;
        EXPECT_EQ(view.page, page) << deck;
        EXPECT_EQ(view.use_splash, use_splash) << deck;
    }
}

TEST(read_deck_state, reads_each_field_of_a_key_in_both_spellings) {
    struct {
        std::string keys;
        texts images;
    } const cases[] = {
        {R"("keys":[{"index":2,"data":"QUJD"}])", {"2:ABC"}},
        {R"("Keys":[{"Index":2,"Data":"QUI="}])", {"2:AB"}},
        {R"("keys":[{"index":2,"Index":3,"data":"QQ==","Data":"Qg=="}])", {"3:B"}},
        {R"("keys":[{"Index":"x","index":4,"Data":5,"data":"QQ=="}])", {"4:A"}},
        {R"("keys":[{"Data":"","data":"QQ=="}])", {"0:"}},
        {R"("keys":[{"data":" \t\r\n"}])", {"0:"}},
        {R"("keys":[{}])", {"0:"}},
        {R"("keys":[{"index":-1,"data":"Q\nQ=="},{"index":99},{"index":-1}])",
         {"-1:A", "99:", "-1:"}},
        {R"("Keys":[],"keys":[{"index":1}])", {"1:"}},
        {R"("Keys":[{"index":2}],"keys":[{"index":1}])", {"2:"}},
        {R"("keys":[])", {}},
        {R"("keys":[{"index":1,"data":"\u0051\u0051=="}])", {"1:A"}},
    };
    for (const auto& [keys, expected] : cases)
        EXPECT_EQ(images(read_one_view(R"({"serial":"A",)" + keys + "}")), expected) << keys;
}

TEST(read_deck_state, leaves_out_a_key_whose_image_is_no_base64_and_nothing_else) {
    const deck_state_reply reply = read_deck_state(
        R"({"generation":9,"changed":true,"decks":[{"serial":"A","keys":[{"index":1,"data":"QQ=="},)"
        R"({"index":2,"data":"QUJ*"},{"index":3,"data":"QUJ"},{"index":4,"data":"Qg=="}]},)"
        R"({"serial":"B \"x","keys":[{"index":-5,"data":"Q==="}]}]})",
        0);
    EXPECT_EQ(reply.generation, 9);
    ASSERT_EQ(serials(reply), (texts{"A", "B \"x"}));
    EXPECT_EQ(images(reply.decks[0]), (texts{"1:A", "4:B"}));
    EXPECT_EQ(images(reply.decks[1]), texts{});
    EXPECT_EQ(reply.decks[0].refused_keys, (std::vector<std::int32_t>{2, 3}));
    EXPECT_EQ(reply.decks[1].refused_keys, std::vector<std::int32_t>{-5});
}

TEST(read_deck_state, reads_each_field_of_a_cue_in_both_spellings) {
    struct {
        std::string cue;
        std::string fields;
    } const cases[] = {
        {R"({"functionId":1,"delayMs":2,"action":"a","address":"b","port":3,"payload":"c",)"
         R"("releasePayload":"d","pageDelta":-1})",
         "1 2 a b 3 c d -1"},
        {R"({"FunctionId":1,"DelayMs":2,"Action":"a","Address":"b","Port":3,"Payload":"c",)"
         R"("ReleasePayload":"d","PageDelta":-1})",
         "1 2 a b 3 c d -1"},
        {R"({"functionId":1,"FunctionId":11,"delayMs":2,"DelayMs":12,"action":"a","Action":"A",)"
         R"("address":"b","Address":"B","port":3,"Port":13,"payload":"c","Payload":"C",)"
         R"("releasePayload":"d","ReleasePayload":"D","pageDelta":-1,"PageDelta":1})",
         "11 12 A B 13 C D 1"},
        {R"({"functionId":1,"FunctionId":null,"delayMs":2,"DelayMs":null,"action":"a",)"
         R"("Action":null,"address":"b","Address":null,"port":3,"Port":null,"payload":"c",)"
         R"("Payload":null,"releasePayload":"d","ReleasePayload":null,"pageDelta":4,)"
         R"("PageDelta":null})",
         "1 2 a b 3 c d 4"},
        {R"({"action":"a","Action":"","payload":"c","Payload":""})", "0 0   0   0"},
        {R"({"port":70000})", "0 0   70000   0"},
        {R"({})", "0 0   0   0"},
    };
    for (const auto& [text, fields] : cases) {
        const deck_cue cue = read_one_cue(text);
        EXPECT_EQ(std::to_string(cue.function_id) + ' ' + std::to_string(cue.delay_ms) + ' ' +
                      cue.action + ' ' + cue.address + ' ' + std::to_string(cue.port) + ' ' +
                      cue.payload + ' ' + cue.release_payload + ' ' +
                      std::to_string(cue.page_delta),
                  fields)
            << text;
    }
}

TEST(read_deck_state, keeps_the_last_of_the_scripts_with_one_index) {
    const deck_view view = read_one_view(
        R"({"serial":"A","Scripts":[{"index":3,"cues":[{"port":1},{"port":2}]},)"
        R"({"Index":-1,"Cues":[{"port":4}]},{"index":3,"cues":[{"port":3}]},{"cues":[]}]})");
    std::map<std::int32_t, std::vector<std::int32_t>> ports;
    for (const auto& [index, cues] : view.scripts) {
        ports[index];
        for (const deck_cue& cue : cues)
            ports[index].push_back(cue.port);
    }
    EXPECT_EQ(ports,
              (std::map<std::int32_t, std::vector<std::int32_t>>{{-1, {4}}, {0, {}}, {3, {3}}}));
}

TEST(read_deck_state, replaces_a_script_by_an_empty_one_too) {
    const deck_view view =
        read_one_view(R"({"scripts":[{"index":1,"cues":[{}]},{"index":1,"cues":[]}]})");
    ASSERT_EQ(view.scripts.size(), 1U);
    EXPECT_TRUE(view.scripts.at(1).empty());
}

TEST(read_deck_state, reads_scripts_and_cues_from_the_list_that_holds_objects) {
    const deck_view view =
        read_one_view(R"({"Scripts":[],"scripts":[{"index":1,"Cues":[7],"cues":[{"port":5}]}]})");
    ASSERT_TRUE(view.scripts.contains(1));
    ASSERT_EQ(view.scripts.at(1).size(), 1U);
    EXPECT_EQ(view.scripts.at(1)[0].port, 5);
}

TEST(read_deck_state, finds_the_first_occurrence_of_a_key_at_any_depth) {
    // A deck without an index, yet with keys that have one: the readers don't know of depth.
    const deck_view view = read_one_view(R"({"keys":[{"page":9,"index":1}],"serial":"A"})");
    EXPECT_EQ(view.page, 9);
    EXPECT_EQ(view.serial, "A");
}

TEST(read_deck_state, reads_a_bounded_number_of_objects_from_a_list) {
    const auto decks = [](std::size_t sent) {
        return read_deck_state("{\"decks\":" + list_of("{}", sent) + '}', 0).decks.size();
    };
    const auto keys = [](std::size_t sent) {
        return read_one_view(R"({"keys":)" + list_of("{}", sent) + '}').keys.size();
    };
    const auto cues = [](std::size_t sent) {
        return read_one_view(R"({"scripts":[{"index":1,"cues":)" + list_of("{}", sent) + "}]}")
            .scripts.at(1)
            .size();
    };
    EXPECT_EQ(decks(most_objects), most_objects);
    EXPECT_EQ(decks(most_objects + 1), most_objects);
    // The deck is one of them, and so is the script that holds the cues.
    EXPECT_EQ(keys(most_objects - 1), most_objects - 1);
    EXPECT_EQ(keys(most_objects), most_objects - 1);
    EXPECT_EQ(cues(most_objects - 2), most_objects - 2);
    EXPECT_EQ(cues(most_objects - 1), most_objects - 2);
}

TEST(read_deck_state, leaves_out_what_stands_behind_the_last_object_that_it_reads) {
    const auto reply_with = [](std::size_t keys) {
        return read_deck_state(
            R"({"generation":6,"changed":true,"decks":[{"serial":"A"},{"keys":)" +
                list_of("{}", keys) +
                R"(,"scripts":[{"index":1,"cues":[{"port":2}]},{"index":2}]},)"
                R"({"serial":"last","page":3}]})",
            0);
    };
    // Two decks, these keys, two scripts, a cue and the last deck: just as many as are read.
    const deck_state_reply whole = reply_with(most_objects - 6);
    ASSERT_EQ(whole.decks.size(), 3U);
    EXPECT_EQ(whole.decks[1].scripts.size(), 2U);
    EXPECT_EQ(whole.decks[2].page, 3);
    EXPECT_EQ(reply_with(most_objects - 5).decks.size(), 2U);
    // One script is left, and none of its cues.
    const deck_state_reply cut = reply_with(most_objects - 3);
    ASSERT_EQ(cut.decks.size(), 2U);
    EXPECT_EQ(cut.decks[1].keys.size(), most_objects - 3);
    ASSERT_EQ(cut.decks[1].scripts.size(), 1U);
    EXPECT_TRUE(cut.decks[1].scripts.at(1).empty());
    EXPECT_EQ(cut.generation, 6);
    EXPECT_TRUE(cut.changed);
}
