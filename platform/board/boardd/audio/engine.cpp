#include "board/boardd/audio/engine.h"

namespace board {

Turn AudioEngine::step(const Turn &said, const Turn &played) {
    std::array<float, turn_samples> heard;
    std::copy(said.begin(), said.end(), heard.begin());
    room_.pass(played, heard);
    Turn captured;
    std::transform(heard.begin(), heard.end(), captured.begin(), to_sample);
    return cancelling_ ? canceller_.cancel(captured, played) : captured;
}

} // namespace board
