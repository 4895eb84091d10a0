// Layout of a saved stream image: header, generator state, chunk entries.
// All integers are little endian as the machine stores them.
//
// Current header (version 2, 24 bytes)      Older header (20 bytes)
//   0  u8   version = 2                       0  8 bytes version and magic,
//   1  3    reserved                             "RNG" at offset 0 or 4
//   4  3    magic "RNG" (0x474E52)            8  u16 ignored (header size 24)
//   7  u8   reserved, masked off             10  u16 stateSize
//   8  u16  headerSize = 24                  12  u16 chunkCount
//  10  2    reserved                         14  u16 ignored
//  12  u32  stateSize (record size - 16)     16  i32 brngId
//  16  u16  chunkCount
//  18  2    reserved
//  20  i32  brngId
//
// Chunk entry: u32 chunkId, 16 bytes sharedId (absent when the image's first
// byte is 0), i32 size, then size bytes of data.
#ifndef QOR_RANDOM_PERSIST_FORMAT_H
#define QOR_RANDOM_PERSIST_FORMAT_H

#include <stdint.h>
#include <string.h>

namespace qor::random::image {

constexpr uint8_t kVersion = 2;
constexpr uint32_t kMagic = 0x474E52;  // "RNG" read as a little-endian number
constexpr int kHeaderSize = 24;
constexpr int kOldHeaderSize = 20;
constexpr int kHeaderProbe = 8;          // bytes read before the form is known
constexpr int kChunkFixed = 24;          // chunkId + sharedId + size
constexpr int kSharedIdBytes = 16;

// Field offsets of the current header.
constexpr int kOffMagic = 4, kOffHeaderSize = 8, kOffStateSize = 12, kOffChunkCount = 16,
              kOffBrngId = 20;
// Field offsets of the older header.
constexpr int kOldOffStateSize = 10, kOldOffChunkCount = 12, kOldOffBrngId = 16;

template <class T>
inline T load_le(const uint8_t *p) {
  T v;
  memcpy(&v, p, sizeof v);
  return v;
}
template <class T>
inline void store_le(uint8_t *p, T v) {
  memcpy(p, &v, sizeof v);
}

// The header fields a loader works with, whichever form the image had.
struct Header {
  uint8_t version;   // first byte; decides the chunk entry form
  int headerSize;
  uint32_t stateSize;
  int chunkCount;
  int32_t brngId;
};

// "RNG" in the low three bytes of the 32-bit word at p.
inline bool has_magic(const uint8_t *p) { return (load_le<uint32_t>(p) & 0xFFFFFF) == kMagic; }

// Bytes of header after the 8-byte probe.
inline int header_rest(uint8_t first) {
  return first == kVersion ? kHeaderSize - kHeaderProbe : kOldHeaderSize - kHeaderProbe;
}

// Decodes a complete header (24 or 20 bytes, as header_rest said). Returns
// false when the magic is at neither place.
inline bool decode_header(const uint8_t *h, Header *out) {
  if (!has_magic(h + kOffMagic) && !has_magic(h)) return false;
  out->version = h[0];
  if (h[0] == kVersion) {
    out->headerSize = load_le<uint16_t>(h + kOffHeaderSize);
    out->stateSize = load_le<uint32_t>(h + kOffStateSize);
    out->chunkCount = load_le<uint16_t>(h + kOffChunkCount);
    out->brngId = load_le<int32_t>(h + kOffBrngId);
  } else {
    out->headerSize = kHeaderSize;
    out->stateSize = load_le<uint16_t>(h + kOldOffStateSize);
    out->chunkCount = load_le<uint16_t>(h + kOldOffChunkCount);
    out->brngId = load_le<int32_t>(h + kOldOffBrngId);
  }
  return true;
}

inline void encode_header(uint8_t *h, uint32_t stateSize, int chunkCount, int32_t brngId) {
  memset(h, 0, kHeaderSize);  // reserved bytes are zeroed, which a reader ignores
  h[0] = kVersion;
  store_le<uint32_t>(h + kOffMagic, kMagic);
  store_le<uint16_t>(h + kOffHeaderSize, kHeaderSize);
  store_le<uint32_t>(h + kOffStateSize, stateSize);
  store_le<uint16_t>(h + kOffChunkCount, (uint16_t)chunkCount);
  store_le<int32_t>(h + kOffBrngId, brngId);
}

}  // namespace qor::random::image

#endif
