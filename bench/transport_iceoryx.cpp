// iceoryx: the publisher loans a chunk and publishes it in place; each subscriber is a process that waits in
// a WaitSet of its own, and takes what is there.

#include "measure.h"
#include "transport.h"

#include "iceoryx_hoofs/log/logmanager.hpp"
#include "iceoryx_posh/popo/untyped_publisher.hpp"
#include "iceoryx_posh/popo/untyped_subscriber.hpp"
#include "iceoryx_posh/popo/wait_set.hpp"
#include "iceoryx_posh/runtime/posh_runtime.hpp"

#include <optional>
#include <string>
#include <unistd.h>

namespace bench {

namespace {

iox::capro::ServiceDescription service_of(const Channel &channel) {
    return {"strell", iox::capro::IdString_t(iox::cxx::TruncateToCapacity, std::to_string(channel.number)),
            "frames"};
}

/* One runtime for each process. */
void join(const std::string &name) {
    static pid_t joined = 0;
    if (joined == getpid()) {
        return;
    }
    joined = getpid();
    iox::log::LogManager::GetLogManager().SetDefaultLogLevel(iox::log::LogLevel::kError,
                                                             iox::log::LogLevelOutput::kHideLogLevel);
    const std::string unique = name + std::to_string(getpid());
    iox::runtime::PoshRuntime::initRuntime(iox::RuntimeName_t(iox::cxx::TruncateToCapacity, unique));
}

class Iceoryx : public Transport {
  public:
    explicit Iceoryx(const Channel &channel) : service_(service_of(channel)) {}
    ~Iceoryx() override {
        if (waitset_ && subscriber_) {
            waitset_->detachState(*subscriber_, iox::popo::SubscriberState::HAS_DATA);
        }
    }

    void open_sender() override {
        join("bench-publisher-");
        publisher_.emplace(service_);
    }
    uint8_t *prepare(uint32_t size) override {
        chunk_ = nullptr;
        publisher_->loan(size).and_then([this](void *chunk) { chunk_ = chunk; });
        return static_cast<uint8_t *>(chunk_);
    }
    void publish(uint32_t /*size*/) override { publisher_->publish(chunk_); }

    void open_receiver(int index) override {
        join("bench-subscriber-" + std::to_string(index) + "-");
        iox::popo::SubscriberOptions options;
        options.queueCapacity = 32; // as the window of a receiver of this project's channels
        subscriber_.emplace(service_, options);
        waitset_.emplace();
        waitset_->attachState(*subscriber_, iox::popo::SubscriberState::HAS_DATA).or_else([](auto) {
            fail("WaitSet");
        });
    }
    FrameHead receive() override {
        FrameHead head{};
        for (bool taken = false; !taken;) {
            if (!waiting_) {
                subscriber_->take()
                    .and_then([&](const void *chunk) {
                        const auto *header = iox::mepoo::ChunkHeader::fromUserPayload(chunk);
                        head = look_at(chunk, header->userPayloadSize());
                        subscriber_->release(chunk);
                        taken = true;
                    })
                    .or_else([this](auto) { waiting_ = true; });
            } else {
                waitset_->wait();
                waiting_ = false;
            }
        }
        return head;
    }

  private:
    iox::capro::ServiceDescription service_;
    std::optional<iox::popo::UntypedPublisher> publisher_;
    void *chunk_ = nullptr;
    std::optional<iox::popo::UntypedSubscriber> subscriber_;
    std::optional<iox::popo::WaitSet<1>> waitset_;
    bool waiting_ = true; // nothing more is there, as far as is known
};

} // namespace

std::unique_ptr<Transport> make_iceoryx(const Channel &channel) {
    return std::make_unique<Iceoryx>(channel);
}

} // namespace bench
