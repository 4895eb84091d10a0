// libFuzzer target for the stream loader, for long runs outside the suite.
// Each input is loaded from memory (extended with zeros to what its fields
// describe, in an allocation of exactly that size) and from a file, and the
// answers and loaded streams are checked against the independent reader of
// persist_oracle.h. Build: cmake --build build --target fuzz_load_stream
// Run:   build/tests/random/fuzz_load_stream_bin -max_total_time=600 [corpus dir]
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/random/persist_oracle.h"

namespace {

void require(bool ok, const char *what) {
  if (!ok) {
    fprintf(stderr, "loader and reader disagree: %s\n", what);
    abort();
  }
}

void check(const GuxStream *s, const persist_oracle::Outcome &o) {
  require(s->brngId == o.brngId, "brngId");
  require(memcmp(reinterpret_cast<const char *>(s) + 16, o.state.data(), o.state.size()) == 0, "state");
  require((size_t)__guxGetNumChunks(s) == o.chunks.size(), "chunk count");
  const StreamChunk *n = s->chunks;
  for (size_t i = o.chunks.size(); i-- > 0; n = n->next) {
    const persist_oracle::Chunk &c = o.chunks[i];
    require((uint32_t)n->chunkId == c.chunkId && n->size == c.size, "chunk fields");
    require(memcmp(n->sharedId, c.sharedId, 16) == 0, "sharedId");
    require(memcmp(n->data, c.data.data(), c.data.size()) == 0, "chunk data");
  }
}

void run(const std::vector<uint8_t> &image, bool file, const std::string &path) {
  const bool rdrand = __guxCPUisRDRAND(), aes = __guxCPUisAES();
  persist_oracle::Outcome o =
      persist_oracle::read_image(image.data(), image.size(), file, {}, rdrand, aes);
  GuxStream *s = reinterpret_cast<GuxStream *>(&s);
  int status;
  if (file) {
    FILE *f = fopen(path.c_str(), "wb");
    fwrite(image.data(), 1, image.size(), f);
    fclose(f);
    status = __guxLoadStreamF(&s, path.c_str(), -1);
  } else {
    std::vector<uint8_t> *exact = new std::vector<uint8_t>(image);
    exact->shrink_to_fit();
    status = __guxLoadStreamM(&s, exact->data());
    delete exact;
  }
  require(status == o.status, "status");
  if (status < 0) {
    require(s == nullptr, "stream left after a failure");
  } else {
    check(s, o);
    __guxDeleteStream(&s);
  }
  for (auto &c : o.chunks) {
    GlobRODataEntry *e;
    require(__guxFindGlobRODataTableEntry(&e, c.sharedId) != 0, "shared entry left behind");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const std::string path = "/tmp/qor_fuzz_load_stream_" + std::to_string(getpid());
  std::vector<uint8_t> image(data, data + size);
  run(image, true, path);
  persist_oracle::Outcome o =
      persist_oracle::read_image(image.data(), image.size(), false, {}, true, true);
  if (o.needMore) return 0;  // describes more than the memory form is run with
  if (o.extent > image.size()) image.resize(o.extent, 0);
  run(image, false, path);
  return 0;
}
