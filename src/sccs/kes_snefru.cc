// Snefru with 128-bit output.  A message is taken 48 bytes at a time into words
// 4 to 15 of a 16-word block whose words 0 to 3 carry the chaining value; a last
// block holds the message length in bits.
#include "sccs/kes_snefru.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_msg.h"

namespace {

inline uint32_t rotr(uint32_t w, int n) { return (w >> n) | (w << (32 - n)); }

// Rotation after each of the four rounds of a pass.
const int shift_table[4] = {16, 8, 16, 24};

typedef void (*Compress)(uint32_t *output, const uint32_t *input, int passes);

void compress_unrolled(uint32_t *output, const uint32_t *input, int) { Hash512(output, input); }

void hash_message(const char *data, size_t len, Compress compress, int passes,
                  unsigned long out[SNEFRU_OUTPUT_WORDS]) {
  uint32_t block[SNEFRU_INPUT_WORDS] = {};
  unsigned char chunk[SNEFRU_CHUNK_BYTES];
  uint64_t bits = 0;
  for (;;) {
    size_t count = ReadChunk(&data, &len, chunk);
    ConvertChunkOfBytes(chunk, block + SNEFRU_OUTPUT_WORDS);
    Increment64BitCounter(&bits, 8 * (uint64_t)count);
    if (count == 0) break;
    compress(block, block, passes);
  }
  // The empty chunk left words 4 to 15 zero; the length goes into the last two.
  block[14] = (uint32_t)(bits >> 32);
  block[15] = (uint32_t)bits;
  compress(block, block, passes);
  for (int i = 0; i < SNEFRU_OUTPUT_WORDS; i++) out[i] = block[i];
}

}  // namespace

[[noreturn]] void ErrAbort(const char *text) {
  fprintf(stderr, "%s\n", text);
  exit(1);
}

void Increment64BitCounter(uint64_t *counter, uint64_t bits) {
  uint64_t sum = *counter + bits;
  if (sum < *counter) ErrAbort(BWM_MSG(1500, "64-bit counter overflowed"));
  *counter = sum;
}

size_t ReadChunk(const char **data, size_t *left, unsigned char chunk[SNEFRU_CHUNK_BYTES]) {
  size_t n = *left < (size_t)SNEFRU_CHUNK_BYTES ? *left : (size_t)SNEFRU_CHUNK_BYTES;
  memcpy(chunk, *data, n);
  memset(chunk + n, 0, SNEFRU_CHUNK_BYTES - n);
  *data += n;
  *left -= n;
  return n;
}

void ConvertChunkOfBytes(const unsigned char chunk[SNEFRU_CHUNK_BYTES], uint32_t *words) {
  for (int i = 0; i < SNEFRU_CHUNK_BYTES / 4; i++) {
    const unsigned char *b = chunk + 4 * i;
    words[i] = (uint32_t)b[0] << 24 | (uint32_t)b[1] << 16 | (uint32_t)b[2] << 8 | b[3];
  }
}

void HashN(uint32_t output[SNEFRU_OUTPUT_WORDS], const uint32_t input[SNEFRU_INPUT_WORDS],
           int passes) {
  uint32_t block[SNEFRU_INPUT_WORDS];
  memcpy(block, input, sizeof block);
  for (int pass = 0; pass < passes; pass++) {
    for (int round = 0; round < 4; round++) {
      for (int i = 0; i < SNEFRU_INPUT_WORDS; i++) {
        // Words 0,1 use the pass's first box, 2,3 its second, and so on.
        uint32_t e = standardSBoxes[2 * pass + ((i / 2) & 1)][block[i] & 0xff];
        block[(i + 1) & 15] ^= e;
        block[(i + 15) & 15] ^= e;
      }
      for (int i = 0; i < SNEFRU_INPUT_WORDS; i++) block[i] = rotr(block[i], shift_table[round]);
    }
  }
  // input and output may be the same array: read each input word before writing it.
  for (int i = 0; i < SNEFRU_OUTPUT_WORDS; i++) output[i] = input[i] ^ block[15 - i];
}

// One step of a round: the low byte of word c picks an S-box word, which is
// XORed into both neighbours.
#define SN_STEP(c, next, last, box) \
  do {                              \
    uint32_t e_ = box[c & 0xff];    \
    next ^= e_;                     \
    last ^= e_;                     \
  } while (0)

#define SN_ROUND(s0, s1, n)                                                    \
  do {                                                                         \
    SN_STEP(b0, b1, b15, s0); SN_STEP(b1, b2, b0, s0);                         \
    SN_STEP(b2, b3, b1, s1); SN_STEP(b3, b4, b2, s1);                          \
    SN_STEP(b4, b5, b3, s0); SN_STEP(b5, b6, b4, s0);                          \
    SN_STEP(b6, b7, b5, s1); SN_STEP(b7, b8, b6, s1);                          \
    SN_STEP(b8, b9, b7, s0); SN_STEP(b9, b10, b8, s0);                         \
    SN_STEP(b10, b11, b9, s1); SN_STEP(b11, b12, b10, s1);                     \
    SN_STEP(b12, b13, b11, s0); SN_STEP(b13, b14, b12, s0);                    \
    SN_STEP(b14, b15, b13, s1); SN_STEP(b15, b0, b14, s1);                     \
    b0 = rotr(b0, n); b1 = rotr(b1, n); b2 = rotr(b2, n); b3 = rotr(b3, n);     \
    b4 = rotr(b4, n); b5 = rotr(b5, n); b6 = rotr(b6, n); b7 = rotr(b7, n);     \
    b8 = rotr(b8, n); b9 = rotr(b9, n); b10 = rotr(b10, n); b11 = rotr(b11, n); \
    b12 = rotr(b12, n); b13 = rotr(b13, n); b14 = rotr(b14, n);                \
    b15 = rotr(b15, n);                                                        \
  } while (0)

#define SN_PASS(s0, s1)       \
  do {                        \
    SN_ROUND(s0, s1, 16);     \
    SN_ROUND(s0, s1, 8);      \
    SN_ROUND(s0, s1, 16);     \
    SN_ROUND(s0, s1, 24);     \
  } while (0)

void Hash512(uint32_t output[SNEFRU_OUTPUT_WORDS], const uint32_t input[SNEFRU_INPUT_WORDS]) {
  uint32_t b0 = input[0], b1 = input[1], b2 = input[2], b3 = input[3];
  uint32_t b4 = input[4], b5 = input[5], b6 = input[6], b7 = input[7];
  uint32_t b8 = input[8], b9 = input[9], b10 = input[10], b11 = input[11];
  uint32_t b12 = input[12], b13 = input[13], b14 = input[14], b15 = input[15];
  const uint32_t *s0 = standardSBoxes[0], *s1 = standardSBoxes[1];
  const uint32_t *s2 = standardSBoxes[2], *s3 = standardSBoxes[3];
  SN_PASS(s0, s1);
  SN_PASS(s2, s3);
  uint32_t o0 = input[0] ^ b15, o1 = input[1] ^ b14, o2 = input[2] ^ b13, o3 = input[3] ^ b12;
  output[0] = o0;
  output[1] = o1;
  output[2] = o2;
  output[3] = o3;
}

#undef SN_PASS
#undef SN_ROUND
#undef SN_STEP

void snefru(const char *text, unsigned long out[SNEFRU_OUTPUT_WORDS]) {
  hash_message(text, strlen(text), compress_unrolled, SNEFRU_PASSES, out);
}

void snefru_passes(const char *data, size_t len, int passes,
                   unsigned long out[SNEFRU_OUTPUT_WORDS]) {
  hash_message(data, len, HashN, passes, out);
}
