#include "board/boardd/audio/canceller.h"

#include <new>
#include <speex/speex_echo.h>
#include <speex/speex_preprocess.h>

namespace board {

namespace {

constexpr size_t early_samples = 4 * samples_per_ms;  // the filter begins before the echo does
constexpr size_t reach_samples = 64 * samples_per_ms; // its taps, but for a room that rings longer
constexpr int32_t residual_db = -60;
constexpr int32_t residual_while_talking_db = -15; // what is near must not go with the echo

size_t bulk_samples(const EchoSettings &room) {
    const size_t delay = static_cast<size_t>(room.delay_ms) * samples_per_ms;
    return delay > early_samples ? delay - early_samples : 0;
}

size_t filter_samples(const EchoSettings &room) {
    const size_t tail = static_cast<size_t>(room.reverb_ms) * samples_per_ms + early_samples;
    return std::max(tail, reach_samples);
}

} // namespace

Canceller::Canceller(const EchoSettings &room)
    : reference_(bulk_samples(room) + turn_samples),
      filter_(speex_echo_state_init(static_cast<int>(turn_samples), static_cast<int>(filter_samples(room)))),
      suppressor_(speex_preprocess_state_init(static_cast<int>(turn_samples), sample_rate_hz)) {
    if (filter_ == nullptr || suppressor_ == nullptr) {
        throw std::bad_alloc();
    }
    int32_t rate = sample_rate_hz;
    speex_echo_ctl(filter_.get(), SPEEX_ECHO_SET_SAMPLING_RATE, &rate);
    int32_t yes = 1; // without its noise reduction the suppressor does nothing
    int32_t residual = residual_db;
    int32_t residual_while_talking = residual_while_talking_db;
    speex_preprocess_ctl(suppressor_.get(), SPEEX_PREPROCESS_SET_DENOISE, &yes);
    speex_preprocess_ctl(suppressor_.get(), SPEEX_PREPROCESS_SET_ECHO_STATE, filter_.get());
    speex_preprocess_ctl(suppressor_.get(), SPEEX_PREPROCESS_SET_ECHO_SUPPRESS, &residual);
    speex_preprocess_ctl(suppressor_.get(), SPEEX_PREPROCESS_SET_ECHO_SUPPRESS_ACTIVE,
                         &residual_while_talking);
}

Canceller::~Canceller() = default;

void Canceller::Destroy::operator()(SpeexEchoState_ *state) const {
    speex_echo_state_destroy(state);
}

void Canceller::Destroy::operator()(SpeexPreprocessState_ *state) const {
    speex_preprocess_state_destroy(state);
}

Turn Canceller::cancel(const Turn &heard, const Turn &played) {
    std::copy(reference_.begin() + turn_samples, reference_.end(), reference_.begin());
    std::copy(played.begin(), played.end(), reference_.end() - turn_samples);
    Turn clean;
    speex_echo_cancellation(filter_.get(), heard.data(), reference_.data(), clean.data());
    speex_preprocess_run(suppressor_.get(), clean.data());
    return clean;
}

} // namespace board
