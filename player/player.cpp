// Player: starts the worker on a MediaPipeline and forwards commands to its pipeline.
#include "player/player.h"

#include "player/player_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void deleteMedia(void* argument) {
    delete static_cast<MediaPipeline*>(argument);
}

} // namespace

Player::~Player() {
    stop();
}

bool Player::start(const std::string& path, const DisplaySettings& display) {
    stop();
    if (path.empty())
        return false;
    // Only a regular file: opening a FIFO would block, and discovery would wait on it for ever.
    struct stat info;
    int fd = stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode)
                 ? open(path.c_str(), O_RDONLY | O_CLOEXEC)
                 : -1;
    if (fd < 0) {
        fprintf(playerLog(), "Couldn't open the video\n");
        return false;
    }
    close(fd);

    auto* created = new MediaPipeline;
    created->path = path;
    created->display = display;
    if (!worker.start(MediaPipeline::run, created, deleteMedia)) {
        delete created;
        media = nullptr;
        return false;
    }
    media = created;
    return true;
}

void Player::request(PlayerStatus requested, GstState fromA, GstState fromB, GstState target) {
    if (!media)
        return;
    media->requestedState = requested;
    if (!media->running)
        return;
    sysman::MutexLock held(media->lock);
    if (!media->pipeline)
        return;
    GstState current = GST_STATE_VOID_PENDING;
    GstStateChangeReturn query = gst_element_get_state(media->pipeline, &current, nullptr, 1000);
    if (query != GST_STATE_CHANGE_FAILURE && (current == fromA || current == fromB))
        (void)gst_element_set_state(media->pipeline, target);
}

void Player::pause() {
    request(PlayerStatus::Paused, GST_STATE_READY, GST_STATE_PLAYING, GST_STATE_PAUSED);
}

void Player::play() {
    request(PlayerStatus::Playing, GST_STATE_READY, GST_STATE_PAUSED, GST_STATE_PLAYING);
}

void Player::stop() {
    if (!media)
        return;
    media->stopRequested = true;
    if (!media->running)
        return;
    sysman::MutexLock held(media->lock);
    if (!media->pipeline)
        return;
    (void)gst_element_set_state(media->pipeline, GST_STATE_NULL);
    g_main_loop_quit(media->mainLoop);
}

PlayerStatus Player::status() const {
    return media ? media->status.load() : PlayerStatus::Stopped;
}

bool Player::finished() const {
    return worker.finished();
}
