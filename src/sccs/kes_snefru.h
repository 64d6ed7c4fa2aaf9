// Snefru, the one-way hash behind SmIDs: 128-bit output, 512-bit blocks of which
// 48 bytes are message, the published S-box table.  The system hashes with 2
// passes through the unrolled compression Hash512; HashN takes the number of
// passes as a parameter and serves to check the unrolled form and the table
// against published digests.
#ifndef BRINDLE_SCCS_KES_SNEFRU_H
#define BRINDLE_SCCS_KES_SNEFRU_H

#include <cstddef>
#include <cstdint>

constexpr int SNEFRU_MAX_SBOXES = 16;
constexpr int SNEFRU_MAX_PASSES = SNEFRU_MAX_SBOXES / 2;
constexpr int SNEFRU_INPUT_WORDS = 16;  // one 512-bit block
constexpr int SNEFRU_OUTPUT_WORDS = 4;  // 128-bit result and chaining value
constexpr int SNEFRU_CHUNK_BYTES = 4 * (SNEFRU_INPUT_WORDS - SNEFRU_OUTPUT_WORDS);
constexpr int SNEFRU_PASSES = 2;        // what the system uses

extern const uint32_t standardSBoxes[SNEFRU_MAX_SBOXES][256];

// The compression of 16 words to 4 with any number of passes from 1 to 8.
void HashN(uint32_t output[SNEFRU_OUTPUT_WORDS], const uint32_t input[SNEFRU_INPUT_WORDS],
           int passes);
// The same with 2 passes, unrolled: this is the one that runs.
void Hash512(uint32_t output[SNEFRU_OUTPUT_WORDS], const uint32_t input[SNEFRU_INPUT_WORDS]);

// Hash of the text up to its first zero byte, with the 2-pass compression.
void snefru(const char *text, unsigned long out[SNEFRU_OUTPUT_WORDS]);
// Hash of len bytes with the general compression at the given number of passes.
void snefru_passes(const char *data, size_t len, int passes,
                   unsigned long out[SNEFRU_OUTPUT_WORDS]);

// Pieces of the message walk, exposed for their tests.
// Copies up to SNEFRU_CHUNK_BYTES bytes from *data (advancing it and *left) into
// chunk, pads with zeros, and returns the count copied.
size_t ReadChunk(const char **data, size_t *left, unsigned char chunk[SNEFRU_CHUNK_BYTES]);
// Packs a chunk big-endian into words[0 .. SNEFRU_CHUNK_BYTES/4 - 1].
void ConvertChunkOfBytes(const unsigned char chunk[SNEFRU_CHUNK_BYTES], uint32_t *words);
// Adds bits to the 64-bit counter; an overflow ends the program.
void Increment64BitCounter(uint64_t *counter, uint64_t bits);
[[noreturn]] void ErrAbort(const char *text);

#endif
