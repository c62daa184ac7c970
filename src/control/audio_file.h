/*
 * Sound files in place of a microphone and a loudspeaker: the transmitting side hands out a file block by
 * block, over and over, as A-law; the receiving side appends what it is given to another file. No part of the
 * daemon uses either by itself. examples/audio_file.cpp does.
 *
 *     audio_file_enable(1);
 *     audio_file_set_tx_path("/tmp/voice.pcm");
 *     if (oru_tx_file_init() == 0) {
 *         tx_file_get_frame(block, 0, &header);     // as often as a block is due
 *         oru_tx_file_deinit();
 *     }
 *
 * Life: a successful init, any number of blocks, one deinit. Handles are not cleared, so a second deinit
 * without an init in between that came as far as opening its file would close and free them again. What is
 * opened and allocated by an init that then fails stays until the deinit.
 *
 * Threads: one at a time for each side; the flag and the paths are set before either is initialised.
 */
#ifndef CONTROL_AUDIO_FILE_H
#define CONTROL_AUDIO_FILE_H

#include "libboardav.h"

#include <stdint.h>
#include <stdio.h>

constexpr uint32_t audio_file_path_bytes = 1024;

enum AudioFileFormat : int32_t {
    audio_format_pcm = 0,   // 16-bit little-endian
    audio_format_g711a = 1, // A-law already
    audio_format_opus = 2,  // passes for PCM, deliberately
};

struct AudioFileTransfer {
    int32_t enabled;                     // only 1 lets either side open its file
    char tx_path[audio_file_path_bytes]; // empty: nothing to transmit
    char rx_path[audio_file_path_bytes]; // empty: nothing to record into
    FILE *tx_file;
    uint8_t *file_data; // the last chunk, audio_file_chunk_bytes
    /* 32 bytes of oru_tx_file_init, from malloc, which nobody frees; from the first request on whatever
     * header the caller passed last. */
    AudioFrameInfo *frame;
    int32_t bytes_read; // by the last read
    int32_t format;     // AudioFileFormat; a name without a known ending leaves it as it was
    int32_t frame_count;
    FILE *rx_file;
};

extern AudioFileTransfer audio_file;

/* How much of the file goes into one block. Not to be changed between init and deinit. */
extern int32_t audio_file_chunk_bytes;

/* Switches both sides on (1) or off (anything else) for the next init. */
void audio_file_enable(int32_t enabled);

/* The file of either side; copied. Result: 0, or -1 for one that is too long, which changes nothing. */
int32_t audio_file_set_tx_path(const char *path);
int32_t audio_file_set_rx_path(const char *path);

/*
 * Opens the file to transmit. Its format goes by what its path contains, in this order: ".pcm", ".g711a",
 * ".opus". Result: 0, or -1, which is logged unless it is for want of the flag or of a path.
 */
int32_t oru_tx_file_init(void);
void oru_tx_file_deinit(void);

/*
 * The next block, after a successful oru_tx_file_init. An A-law file is passed through, everything else is
 * encoded as A-law from 16-bit PCM. The file begins anew when less than a chunk is left of it, and that rest
 * is not played; a file that is shorter than a chunk gives its one block for ever.
 *
 * `out` takes audio_file_chunk_bytes. Of the header are written: `seq`, the number of chunks read before this
 * one; 16 at offset 4; 1 at offset 8; `timestamp_us`, which holds whole seconds of the calendar here; `len`,
 * the bytes in `out`. The header is kept by address, not copied. Result: 0.
 */
int32_t tx_file_get_frame(void *out, int32_t reserved, AudioFrameInfo *header);

/*
 * Opens the file to record into, at its end. Result: 0, or -1, which is logged unless it is for want of the
 * flag or of a path.
 */
int32_t oru_rx_file_init(void);

/* Result: that of fclose, or of the log call when no file was ever opened. */
int32_t oru_rx_file_deinit(void);

/* Appends to the file, after a successful oru_rx_file_init. Result: 0, also when it could not be written. */
int32_t rx_file_write(const void *data, int32_t length);

#endif
