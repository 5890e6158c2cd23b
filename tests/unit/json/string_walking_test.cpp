// Where strings, arrays and objects end, checked against readers that walk byte by byte.
#include "json/field_scanner.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string_view>

using namespace elvantris::operator_control;

namespace {

// Follows a text byte by byte; true while the last byte belongs to a string, quotes included.
class string_walker {
public:
    bool inside(char byte) {
        if (!open_) {
            open_ = byte == '"';
            return open_;
        }
        if (escaped_)
            escaped_ = false;
        else if (byte == '\\')
            escaped_ = true;
        else if (byte == '"')
            open_ = false;
        return true;
    }
    bool open() const { return open_; }

private:
    bool open_ = false;
    bool escaped_ = false;
};

// From the bracket at the front to the one that closes it; empty without one.
std::string walked_to_closing(std::string_view text, char open, char close) {
    string_walker walker;
    std::size_t depth = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (walker.inside(text[at])) continue;
        if (text[at] == open) ++depth;
        if (text[at] == close && --depth == 0) return std::string(text.substr(0, at + 1));
    }
    return {};
}

std::vector<std::string> walked_objects(std::string_view array) {
    std::vector<std::string> objects;
    string_walker walker;
    std::uint32_t depth = 0;
    std::size_t start = npos;
    for (std::size_t at = 0; at < array.size(); ++at) {
        if (walker.inside(array[at])) continue;
        if (array[at] == '{') {
            if (depth == 0) start = at;
            ++depth;
        }
        if (array[at] == '}') {
            if (depth == 1 && start != npos) {
                objects.emplace_back(array.substr(start, at + 1 - start));
                start = npos;
            }
            --depth;
        }
    }
    return objects;
}

// The string at the front, unescaped; only the short escapes, as the generated texts have no other.
std::optional<std::string> walked_string(std::string_view text) {
    std::string out;
    for (std::size_t at = 1; at < text.size(); ++at) {
        if (text[at] == '"') return out;
        if (text[at] != '\\') {
            out += text[at];
            continue;
        }
        if (++at == text.size()) return std::nullopt;
        switch (text[at]) {
        case '"':
        case '\\':
            out += text[at];
            break;
        case 'n':
            out += '\n';
            break;
        default:
            return std::nullopt;
        }
    }
    return std::nullopt;
}

// Behind this beginning, up to so many of these letters.
std::string random_text(std::mt19937& random, std::string_view beginning, std::string_view letters,
                        std::size_t most) {
    std::string text(beginning);
    for (std::size_t left = random() % (most + 1); left > 0; --left)
        text += letters[random() % letters.size()];
    return text;
}

std::vector<std::string> with_cursor(std::string_view array) {
    std::vector<std::string> objects;
    json_object_cursor cursor(array);
    while (const auto object = cursor.next())
        objects.emplace_back(*object);
    EXPECT_FALSE(cursor.next()) << "behind the last object";
    return objects;
}

} // namespace

TEST(json_read_string, ends_at_the_quote_behind_an_even_run_of_backslashes) {
    for (std::size_t count = 0; count < 40; ++count) {
        const std::string run(count, '\\');
        const std::string kept(count / 2, '\\');
        EXPECT_EQ(json_read_string("{\"a\":\"x" + run + "\",\"b\":\"c\"}", "a", "none"),
                  count % 2 == 0 ? "x" + kept : "x" + kept + "\",");
        EXPECT_EQ(json_read_string("{\"a\":\"" + run + "\"", "a", "none"),
                  count % 2 == 0 ? kept : "none")
            << count;
    }
}

TEST(json_read_string, is_the_walked_string_for_any_text) {
    std::mt19937 random(1);
    for (int i = 0; i < 100'000; ++i) {
        const std::string text = random_text(random, "\"", "\\\\\\\"\"nx{", 16);
        ASSERT_EQ(json_read_string("{\"a\":" + text, "a", "none"),
                  walked_string(text).value_or("none"))
            << text;
    }
}

TEST(json_view_array, is_the_walked_array_for_any_text_and_points_into_it) {
    std::mt19937 random(2);
    std::size_t ended = 0;
    for (int i = 0; i < 100'000; ++i) {
        const std::string array = random_text(random, "[", "\\\\\"\"[]]{}x", 24);
        const std::string text = "{\"a\": " + array;
        const std::string expected = walked_to_closing(array, '[', ']');
        const std::string_view found = json_view_array(text, "a");
        ASSERT_EQ(found, expected) << array;
        ASSERT_EQ(json_read_array_text(text, "a"), expected) << array;
        if (found.empty()) continue;
        ++ended;
        ASSERT_EQ(found.data(), text.data() + 6);
    }
    EXPECT_GT(ended, 10'000U) << "too few of the texts are arrays that end";
}

TEST(json_object_cursor, gives_the_walked_objects_of_any_text) {
    std::mt19937 random(3);
    std::size_t objects = 0;
    for (int i = 0; i < 100'000; ++i) {
        const std::string array = random_text(random, "[", "\\\\\"\"{{}}x,[]", 24) + "]";
        const std::vector<std::string> expected = walked_objects(array);
        ASSERT_EQ(with_cursor(array), expected) << array;
        const auto split = json_split_object_list(array);
        ASSERT_EQ(std::vector<std::string>(split.begin(), split.end()), expected) << array;
        objects += expected.size();
    }
    EXPECT_GT(objects, 10'000U) << "too few of the texts hold objects";
}

TEST(json_object_cursor, gives_one_object_at_a_time_as_a_view) {
    const std::string array = R"([{"x":"}"},7,{"y":{"z":1}}])";
    json_object_cursor cursor(array);
    const auto first = cursor.next();
    ASSERT_TRUE(first);
    EXPECT_EQ(*first, R"({"x":"}"})");
    EXPECT_EQ(first->data(), array.data() + 1);
    EXPECT_EQ(cursor.next(), R"({"y":{"z":1}})");
    EXPECT_EQ(cursor.next(), std::nullopt);
    EXPECT_EQ(cursor.next(), std::nullopt);
}

TEST(json_object_cursor, gives_nothing_behind_a_string_that_does_not_end) {
    json_object_cursor cursor(R"([{"x":1},"open,{"y":2}])");
    EXPECT_EQ(cursor.next(), R"({"x":1})");
    EXPECT_EQ(cursor.next(), std::nullopt);
    EXPECT_EQ(json_object_cursor("").next(), std::nullopt);
    EXPECT_EQ(json_object_cursor("[{").next(), std::nullopt);
}

TEST(find_json_value_span, ends_where_the_walked_value_ends) {
    std::mt19937 random(4);
    const std::map<char, char> brackets{{'[', ']'}, {'{', '}'}};
    for (int i = 0; i < 100'000; ++i) {
        const std::string opening = i % 2 == 0 ? "[" : "{";
        const char open = opening.front();
        const std::string value = random_text(random, opening, "\\\\\"\"[]{}}]x", 24);
        const std::string text = "{\"a\":" + value;
        const std::string expected = walked_to_closing(value, open, brackets.at(open));
        std::size_t start = 0;
        std::size_t end = 0;
        ASSERT_EQ(find_json_value_span(text, "a", start, end), !expected.empty()) << value;
        if (expected.empty()) continue;
        ASSERT_EQ(text.substr(start, end - start), expected) << value;
    }
}

TEST(find_json_value_span, ends_a_string_behind_its_own_quote) {
    std::mt19937 random(5);
    for (int i = 0; i < 100'000; ++i) {
        const std::string value = random_text(random, "\"", "\\\\\\\"x", 12);
        const std::string text = "{\"a\":" + value;
        string_walker walker;
        std::size_t length = 0;
        for (const char byte : value) {
            walker.inside(byte);
            ++length;
            if (!walker.open()) break;
        }
        std::size_t start = 0;
        std::size_t end = 0;
        ASSERT_EQ(find_json_value_span(text, "a", start, end), !walker.open()) << value;
        if (walker.open()) continue;
        ASSERT_EQ(end - start, length) << value;
    }
}
