// Player process link against scripted children over real pipes: reports, and the stop
// grace period of a child that does not go.
#include "scripted_player.h"
#include "supervisor/player_link.h"
#include "sysman/clock.h"

#include <gtest/gtest.h>

namespace {

PlayerProcess player;

// Loop passes with nothing but the player to serve, until it has the status and, if asked,
// has been reaped; false after ten times the grace period.
bool passUntil(PlayerStatus wanted, bool reaped = false) {
    for (uint32_t start = sysman::nowMs(); sysman::elapsedMs(start) < 10 * StopGraceMs;) {
        sysman::WaitSet waitSet{};
        waitSet.init();
        pollPlayer(player, waitSet);
        if (playerStatus(player) == wanted && (!reaped || player.pid == 0))
            return true;
        waitSet.wait();
    }
    return false;
}

TEST(PlayerLink, ReportsBecomeStatusesUntilTheChildFinishes) {
    useScriptedPlayers();
    ASSERT_TRUE(launchPlayer(player, "/plays.mp4", DisplaySettings{}));
    sendPause(player);
    EXPECT_TRUE(passUntil(PlayerStatus::Paused));
    sendPlay(player);
    EXPECT_TRUE(passUntil(PlayerStatus::Playing));
    sendStop(player);
    EXPECT_TRUE(passUntil(PlayerStatus::Gone, true));
}

TEST(PlayerLink, AChildThatIgnoresStopIsKilledOnlyAfterTheGracePeriod) {
    useScriptedPlayers();
    ASSERT_TRUE(launchPlayer(player, "/hangs.mp4", DisplaySettings{}));
    sendStop(player);
    uint32_t stopped = sysman::nowMs();
    ASSERT_TRUE(passUntil(PlayerStatus::Gone, true));
    EXPECT_GT(sysman::elapsedMs(stopped), StopGraceMs);
}

} // namespace
