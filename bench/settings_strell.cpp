#include "board_call.h"
#include "libmortox.h"
#include "settings_path.h"

#include <stdexcept>

namespace bench {

namespace {

class Strell : public SettingsPath {
  public:
    Strell(Keeps keeps, int reports) : keeps_(keeps) {
        camera_.start_store(keeps, small_profile);
        camera_.start_board();
        camera_.start_daemon(probed(reports));
        store_ = libmortox_config_open(0);
    }
    ~Strell() override { libmortox_close(store_); }
    Strell(const Strell &) = delete;
    Strell &operator=(const Strell &) = delete;

    std::string name() const override {
        return keeps_ == Keeps::on_disk ? "strell: mortoxd, nvram on disk" : "strell: mortoxd, in memory";
    }
    void change(bool flipped) override {
        if (!libmortox_set_value(store_, "nvram", "default", "flip", XDATA_TEXT, flipped ? "on" : "off",
                                 nullptr, nullptr, -1, 0)) {
            throw std::runtime_error(libmortox_last_error(store_));
        }
    }

  private:
    Keeps keeps_;
    Camera camera_;
    mortox_t *store_ = nullptr;
};

} // namespace

support::Process::Environment probed(int reports) {
    return {{"LD_PRELOAD", library("libbench_board_probe.so")},
            {board_call_fd_variable, std::to_string(reports)}};
}

std::unique_ptr<SettingsPath> make_strell(Keeps keeps, int reports) {
    return std::make_unique<Strell>(keeps, reports);
}

} // namespace bench
