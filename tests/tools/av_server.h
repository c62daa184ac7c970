/*
 * A stand-in for the daemon on the command socket: it takes commands with the library's parser, notes them
 * and answers as it was told. To be made after an OwnSocketNames.
 */
#ifndef TESTS_TOOLS_AV_SERVER_H
#define TESTS_TOOLS_AV_SERVER_H

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ctl_test {

class AvServer {
  public:
    enum class Manner { answers, is_silent, hangs_up, talks_nonsense };

    struct Answer {
        int32_t result;
        std::string data;
    };
    struct Command {
        uint32_t code;
        std::string payload; // AV_CMD_PAYLOAD_READABLE bytes
    };

    /* Serves at once. Commands that `answers` does not have are not acknowledged. One at a time. */
    explicit AvServer(std::map<uint32_t, Answer> answers = {}, Manner manner = Manner::answers);
    ~AvServer();
    AvServer(const AvServer &) = delete;
    AvServer &operator=(const AvServer &) = delete;

    /* What has come so far. */
    std::vector<Command> commands();

  private:
    static int32_t on_command(int32_t fd, const void *payload, uint32_t code);
    void serve();
    void serve_client(int fd);
    void take(int32_t fd, const Command &command);

    const std::map<uint32_t, Answer> answers_;
    const Manner manner_;
    int listener_;
    int stop_; // an eventfd
    std::mutex mutex_;
    std::vector<Command> commands_;
    std::thread thread_;
};

} // namespace ctl_test

#endif
