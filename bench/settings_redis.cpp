// Both commands go in one packet, so that Redis needs no second turn for the second. It executes both, syncs
// its log, and then sends what they have brought: neither the writer nor the subscriber hears of a value that
// a power cut could take back, as with mortoxd.

#include "settings_redis.h"
#include "measure.h"
#include "settings_path.h"

#include <hiredis/hiredis.h>
#include <stdexcept>

namespace bench {

namespace {

class Redis : public SettingsPath {
  public:
    Redis(Keeps keeps, int reports) : keeps_(keeps) {
        const std::string path = camera_.file("redis.sock");
        const bool durable = keeps == Keeps::on_disk;
        camera_.start("redis",
                      {BENCH_REDIS_SERVER, "--port", "0", "--unixsocket", path, "--dir", camera_.file(""),
                       "--save", "", "--appendonly", durable ? "yes" : "no", "--appendfsync", "always"},
                      "ready to accept connections");
        camera_.start_board();
        camera_.start("subscriber", {program("bench_settings_subscriber"), path}, "subscribed",
                      probed(reports));
        redis_ = redisConnectUnix(path.c_str());
        if (redis_ == nullptr || redis_->err != 0) {
            throw std::runtime_error("redis-server does not answer");
        }
    }
    ~Redis() override { redisFree(redis_); }
    Redis(const Redis &) = delete;
    Redis &operator=(const Redis &) = delete;

    std::string name() const override {
        return keeps_ == Keeps::on_disk ? "redis: appendfsync always" : "redis: no persistence";
    }
    void change(bool flipped) override {
        const char *value = flipped ? "on" : "off";
        redisAppendCommand(redis_, "SET %s %s", redis_flip_key, value);
        redisAppendCommand(redis_, "PUBLISH %s %s", redis_flip_key, value);
        for (const int expected : {REDIS_REPLY_STATUS, REDIS_REPLY_INTEGER}) {
            void *reply = nullptr;
            if (redisGetReply(redis_, &reply) != REDIS_OK ||
                static_cast<redisReply *>(reply)->type != expected) {
                throw std::runtime_error("redis-server refuses");
            }
            freeReplyObject(reply);
        }
    }

  private:
    Keeps keeps_;
    Camera camera_;
    redisContext *redis_ = nullptr;
};

} // namespace

std::unique_ptr<SettingsPath> make_redis(Keeps keeps, int reports) {
    return std::make_unique<Redis>(keeps, reports);
}

} // namespace bench
