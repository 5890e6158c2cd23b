#include "app/refresh_pass.hpp"

#include "integration/support/scripted_peer.hpp"
#include "integration/support/temporary_folder.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

const std::string pairing = R"({"enabled":true,"Systems":[{"Serial":"A","Role":"Main"},)"
                            R"({"Serial":"B","Role":"Backup","BackupForSerial":"A"}]})";

// A workstation without a pairing, and servers on loopback that hold one.
class refresh_pass : public testing::Test {
protected:
    static discovered_server server(const scripted_peer& peer, const std::string& serial) {
        return {.address = "127.0.0.1",
                .webPort = peer.port(),
                .workstation = "Desk " + serial,
                .serial = serial};
    }

    temporary_folder folder;
    controller_registry registry{folder.file("operator-control.json")};
    refresh_memory memory;
    scripted_peer holds_pairing{replies_by_path(
        {{"/Home/GetOperatorControlConfiguration", http_reply_text(200, pairing)}})};
};

} // namespace

TEST_F(refresh_pass, takes_what_the_servers_say) {
    use_discovered(registry, {server(holds_pairing, "A"), server(holds_pairing, "B")}, memory, {});
    EXPECT_EQ(registry.systems().size(), 2U);
    EXPECT_TRUE(registry.has_pair());
}

TEST_F(refresh_pass, that_is_given_up_takes_over_no_server) {
    use_discovered(registry, {server(holds_pairing, "A")}, memory,
                   {.given_up = [] { return true; }});
    EXPECT_TRUE(registry.systems().empty());
    EXPECT_EQ(holds_pairing.connections(), 0U);
}

// The operator may have saved another pairing while the tray's menu was open.
TEST_F(refresh_pass, that_is_given_up_behind_a_servers_pairing_adopts_none) {
    const scripted_peer silent([](peer_connection& connection) { connection.hang(); });
    // The second server is being asked, so the first one's pairing has been read.
    const call_limits limits{.given_up = [&] { return silent.connections() > 0; }};
    use_discovered(registry, {server(holds_pairing, "A"), server(silent, "B")}, memory, limits);
    EXPECT_EQ(holds_pairing.connections(), 1U);
    EXPECT_EQ(registry.systems().size(), 2U);
    EXPECT_FALSE(registry.controller_configured());
}
