// An independent reader of saved stream images, written from the format's
// description: what a loader must answer for a given sequence of bytes, what
// the loaded stream must hold, and how far into the bytes the answer reaches.
// The loader fuzz test and the libFuzzer target check the library against it.
#ifndef QOR_TESTS_RANDOM_PERSIST_ORACLE_H
#define QOR_TESTS_RANDOM_PERSIST_ORACLE_H

#include <cpuid.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include "qor/qor_random.h"

namespace persist_oracle {

struct Chunk {
  uint32_t chunkId;
  uint64_t sharedId[2];   // as the loaded node must carry it (cleared when made private)
  int32_t size;
  std::vector<uint8_t> data;  // the content the node's block must start with
  size_t offset;              // where the entry starts in the image
};

// The memory form is modelled up to this many bytes of image.
constexpr size_t kMemoryCap = 1u << 18;

struct Outcome {
  int status = 0;
  bool needMore = false;  // memory form: the fields describe more than kMemoryCap bytes
  size_t extent = 0;      // bytes the fields describe, as far as they were followed
  int32_t brngId = 0;
  std::vector<uint8_t> state;
  std::vector<Chunk> chunks;  // in image order
};

// A loader also refuses, with the format status, a state its generator could
// not run from: one whose positions point outside the state. The rules of the
// families whose images the fuzz makes (the quasi-random ones need their
// chunks as well and are checked by a test of their own).
inline bool state_in_range(int32_t id, const std::vector<uint8_t> &st) {
  auto at = [&](size_t off) {
    uint32_t v = 0;
    if (off + 4 <= st.size()) memcpy(&v, &st[off], 4);
    return v;
  };
  const int row = id >= GUX_BRNG_INC ? (id >> 20) - 1 : id == 1 ? 1 : -1;
  switch (row) {
    case 1: {  // R250: taps 103 apart, both inside the 250 words
      const int32_t i = (int32_t)at(1000), j = (int32_t)at(1004);
      return i >= 0 && i < 250 && j == (i + 103) % 250;
    }
    case 7: return at(2496) <= 624;  // MT19937: the next word
    case 8: return at(276) <= 69;    // MT2203
    case 9:
    case 10:
    case 11: {  // abstract streams: size, read position, used-up count
      const int32_t n = (int32_t)at(0), r = (int32_t)at(4), f = (int32_t)at(8);
      return n > 0 && r >= 0 && r < n && f >= 0 && f <= n;
    }
    case 12: return at(2496) <= 624 && at(2496) % 4 == 0 && at(2512) <= at(2516) && at(2516) <= 3;  // SFMT19937
    case 14: return at(32) <= 4;  // ARS5: words left in the block
    case 15: return at(24) <= 4;  // PHILOX4X32X10
    default: return true;
  }
}

inline uint32_t cpu_ecx() {
  unsigned a, b, c, d;
  return __get_cpuid(1, &a, &b, &c, &d) ? c : 0;
}

// Shared entries the process knows before the load, as the oracle sees them:
// (id, content) pairs; `count` is the number of entries in use.
struct SharedView {
  std::vector<std::pair<std::vector<uint64_t>, std::vector<uint8_t>>> known;
  int count = 0;
};

// file: true for the file medium (a short read is a read error), false for the
// memory medium (a short image means the caller did not hold it: needMore).
// rdrand / aes: what the processor tests answer.
inline Outcome read_image(const uint8_t *p, size_t len, bool file, SharedView shared, bool rdrand,
                          bool aes) {
  Outcome o;
  size_t pos = 0;
  // The memory form reads what the fields describe: past the end of the bytes
  // given, the image is taken to go on with zeros (up to kMemoryCap), and
  // `extent` says how far it must reach.
  std::vector<uint8_t> padded;
  const uint8_t *base = p;
  auto take = [&](size_t n, const uint8_t **at) {
    const size_t available = (padded.empty() ? len : padded.size()) - pos;
    if (n > available) {
      if (file) {
        o.status = GUX_STATUS_FILE_READ;
        return false;
      }
      if (n > kMemoryCap || pos + n > std::max(kMemoryCap, len)) {
        o.needMore = true;
        o.extent = pos + n;
        return false;
      }
      if (padded.empty()) padded.assign(p, p + len);
      padded.resize(std::max(pos + n, std::min(kMemoryCap, 2 * padded.size())), 0);
      base = padded.data();
    }
    *at = base + pos;
    pos += n;
    return true;
  };
  auto finish = [&]() {
    if (!o.needMore) o.extent = pos;
    return o;
  };
  auto u16 = [](const uint8_t *q) { return (uint32_t)q[0] | (uint32_t)q[1] << 8; };
  auto u32 = [](const uint8_t *q) {
    return (uint32_t)q[0] | (uint32_t)q[1] << 8 | (uint32_t)q[2] << 16 | (uint32_t)q[3] << 24;
  };
  const int badFormat = file ? GUX_STATUS_BAD_FILE_FORMAT : GUX_STATUS_BAD_MEMORY_FORMAT;

  const uint8_t *h;
  if (!take(8, &h)) return finish();
  const uint8_t version = h[0];
  const uint8_t *rest;
  if (!take(version == 2 ? 16 : 12, &rest)) return finish();
  h = base;  // the header is contiguous
  const bool magicAt4 = h[4] == 'R' && h[5] == 'N' && h[6] == 'G';
  const bool magicAt0 = h[0] == 'R' && h[1] == 'N' && h[2] == 'G';
  if (!magicAt4 && !magicAt0) {
    o.status = badFormat;
    return finish();
  }
  uint32_t headerSize, stateSize, chunkCount;
  int32_t id;
  if (version == 2) {
    headerSize = u16(h + 8);
    stateSize = u32(h + 12);
    chunkCount = u16(h + 16);
    id = (int32_t)u32(h + 20);
  } else {
    headerSize = 24;
    stateSize = u16(h + 10);
    chunkCount = u16(h + 12);
    id = (int32_t)u32(h + 16);
  }
  // The generator must exist: its properties are reported and a record can
  // hold a header and a state.
  BrngProperties props;
  const bool known = __guxGetBrngProperties(id, &props) == 0 && props.stateSize >= 16 &&
                     props.initStream != nullptr;
  if (!known || stateSize != (uint32_t)(props.stateSize - 16) || headerSize < 24) {
    o.status = badFormat;
    return finish();
  }
  o.brngId = id;
  const uint8_t *state;
  if (!take(stateSize, &state)) return finish();
  o.state.assign(state, state + stateSize);
  if (id == GUX_BRNG_TRNG && !rdrand) {
    o.status = GUX_STATUS_NO_RDRAND;
    return finish();
  }
  if (id == GUX_BRNG_ARS5 && !aes) {
    o.status = GUX_STATUS_NO_AES;
    return finish();
  }
  for (uint32_t i = 0; i < chunkCount; ++i) {
    Chunk c{};
    c.offset = pos;
    const uint8_t *f;
    if (!take(4, &f)) return finish();
    c.chunkId = u32(f);
    if (version == 1 || version == 2) {
      if (!take(16, &f)) return finish();
      memcpy(c.sharedId, f, 16);
    } else if (version != 0) {
      o.status = GUX_STATUS_FILE_READ;
      return finish();
    }
    if (!take(4, &f)) return finish();
    c.size = (int32_t)u32(f);
    if (c.size < 0) {  // no block of a negative size can be allocated
      o.status = GUX_STATUS_NO_MEMORY;
      return finish();
    }
    if (!take((size_t)c.size, &f)) return finish();
    c.data.assign(f, f + c.size);
    // Shared ids: a known one gives the table's content, unless the entry's
    // block has another size, when the chunk keeps its own block privately;
    // a new one becomes an entry while fewer than 127 are in use; otherwise
    // the chunk is private.
    if (c.sharedId[0] | c.sharedId[1]) {
      bool hit = false;
      for (auto &e : shared.known)
        if (e.first[0] == c.sharedId[0] && e.first[1] == c.sharedId[1]) {
          if (e.second.size() == (size_t)c.size) c.data = e.second;
          else c.sharedId[0] = c.sharedId[1] = 0;
          hit = true;
          break;
        }
      if (!hit) {
        if (shared.count >= 127) {
          c.sharedId[0] = c.sharedId[1] = 0;
        } else {
          shared.known.push_back({{c.sharedId[0], c.sharedId[1]}, c.data});
          ++shared.count;
        }
      }
    }
    o.chunks.push_back(std::move(c));
  }
  if (!state_in_range(id, o.state)) o.status = badFormat;
  return finish();
}

}  // namespace persist_oracle

#endif
