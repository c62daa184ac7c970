// Transmits a sound file as A-law blocks, and records the blocks into another file, as a peer would who
// receives them. Needs nothing else that runs.
//
//     example_audio_file TRANSMIT RECORD [BLOCKS]
//
// TRANSMIT is 16-bit PCM (a WAV file's header is a click), or A-law already when its name contains ".g711a".
// RECORD gets A-law, behind what is in it; listen to it with: ffplay -f alaw -ar 16000 RECORD

#include "control/audio_file.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int default_blocks = 50;

/* Hands out so many blocks, each of which is recorded. */
void transmit(int blocks) {
    std::vector<uint8_t> block(static_cast<size_t>(audio_file_chunk_bytes));
    AudioFrameInfo *header = audio_file.frame; // the facility's own, so that it is not lost
    uint32_t bytes = 0;
    for (int i = 0; i < blocks; ++i) {
        tx_file_get_frame(block.data(), 0, header);
        rx_file_write(block.data(), static_cast<int32_t>(header->len));
        std::printf("block %u: %u bytes\n", header->seq, header->len);
        bytes += header->len;
    }
    std::printf("transmitted and recorded %d blocks, %u bytes of A-law\n", blocks, bytes);
    std::free(header);
}

} // namespace

int main(int argc, char **argv) {
    const int blocks = argc == 4 ? std::atoi(argv[3]) : default_blocks;
    if (argc < 3 || argc > 4 || blocks <= 0) {
        std::fprintf(stderr, "usage: example_audio_file TRANSMIT RECORD [BLOCKS]\n");
        return 2;
    }
    audio_file_enable(1);
    if (audio_file_set_tx_path(argv[1]) != 0 || audio_file_set_rx_path(argv[2]) != 0) {
        std::fprintf(stderr, "a path of at most %u bytes, please\n", audio_file_path_bytes - 1);
        return 2;
    }
    if (oru_tx_file_init() != 0) {
        return 1; // it has said why
    }
    int result = 1;
    if (oru_rx_file_init() == 0) {
        transmit(blocks);
        result = oru_rx_file_deinit() == 0 ? 0 : 1;
    } else {
        std::free(audio_file.frame);
    }
    oru_tx_file_deinit();
    return result;
}
