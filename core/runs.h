// Run lists of 1-bit rows: the byte-run tables, the run writer that every
// compressing path uses (Compress), the run reader that every splicing path
// walks old rows with, and Expand.
//
// A run list is a sequence of unsigned 16-bit lengths, little-endian,
// alternating in colour from 0. A run longer than 65,535 is written as
// 65,535, a zero-length run of the other colour, and the rest. Lists live in
// caller buffers and inside the row heap at any even or odd address, so
// they are read and written byte-wise (which compiles to plain loads).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kest::runs {

static_assert(std::endian::native == std::endian::little, "run lists are stored little-endian");

inline constexpr uint32_t kLongestRun = 65535;

inline uint32_t LoadRun(const uint8_t *runs, size_t index) {
  uint16_t value;
  std::memcpy(&value, runs + 2 * index, 2);
  return value;
}
inline void StoreRun(uint8_t *runs, size_t index, uint32_t value) {
  const auto run = static_cast<uint16_t>(value);
  std::memcpy(runs + 2 * index, &run, 2);
}
inline uint32_t LoadCount(const uint8_t *packed) {
  uint32_t count;
  std::memcpy(&count, packed, 4);
  return count;
}
inline void StoreCount(uint8_t *packed, uint32_t count) { std::memcpy(packed, &count, 4); }

// The runs of one byte, most significant bit first: ByteRunCount[b] lengths
// (1 to 8) in ByteRuns[b]. 0x0F gives 4, 4; 0xAA eight times 1; 0x00 and
// 0xFF a single 8.
struct ByteRunTables {
  uint8_t ByteRunCount[256];
  uint8_t ByteRuns[256][8];
};
extern const ByteRunTables kByteRunTables;

// Builds a run list. The current run is held back until a run of the other
// colour begins, so that a long run is split once, when it is written.
// Writing starts at `out`; the list has room for every run it gets (the
// caller's promise: pixels + 1 runs for a row of that many pixels).
class RunWriter {
 public:
  explicit RunWriter(uint8_t *out) : begin_(out), out_(out) {}

  // Appends length pixels of colour (0 or 1). Nothing for length 0.
  void Add(uint32_t colour, uint64_t length) {
    if (length == 0) return;
    if (colour == colour_) {
      run_ += length;
    } else {
      Flush();
      colour_ = colour;
      run_ = length;
    }
  }
  // Appends pixels bits of source from bit startBit on (bit 7 of byte 0 is
  // bit 0): one table step per byte and run, whole words of a run's colour
  // skipped at once.
  void Bits(const uint8_t *source, uint64_t startBit, uint64_t pixels);
  // Writes the run held back and returns the number of runs.
  uint32_t Finish() {
    Flush();
    return Count();
  }
  uint32_t Count() const { return static_cast<uint32_t>((out_ - begin_) / 2); }

 private:
  void Flush() {
    if (run_ > kLongestRun) [[unlikely]] FlushLong();
    Store(static_cast<uint32_t>(run_));
  }
  void FlushLong();
  void Store(uint32_t value) {
    StoreRun(out_, 0, value);
    out_ += 2;
  }
  void WholeByte(uint32_t byte);
  void PartByte(uint32_t byte, uint32_t bits);

  uint8_t *begin_;
  uint8_t *out_;
  uint64_t run_ = 0;
  uint32_t colour_ = 0;
};

// Walks a run list as a row of `width` pixels. Runs past the width are
// ignored and a list that ends early reads on as 0 pixels, so a walk never
// leaves the list nor the row whatever the list holds.
class RunReader {
 public:
  RunReader(const uint8_t *runs, uint32_t count) : runs_(runs), count_(count) { Load(); }
  // Moves the next n pixels into writer.
  void Copy(RunWriter &writer, uint64_t n);
  void Skip(uint64_t n);

 private:
  void Load() { left_ = index_ < count_ ? LoadRun(runs_, index_) : 0; }
  const uint8_t *runs_;
  uint32_t count_;
  uint32_t index_ = 0;
  uint64_t left_ = 0;  // pixels left in run index_
};

// Expands pixels pixels from startColumn of a list of count runs into out,
// from bit 7 of its byte 0: (pixels + 7) / 8 bytes are cleared and the
// runs of 1 set. A null list, or one that ends early, leaves zeros.
void Expand(const uint8_t *runs, uint32_t count, uint8_t *out, uint64_t startColumn,
            uint64_t pixels);

// Bytes of a packed row at packed: the count word and its runs.
inline size_t PackedBytes(const uint8_t *packed) { return 4 + 2 * size_t{LoadCount(packed)}; }

// Row stride of the buffer functions: whole 32-bit words.
inline size_t BufferStride(uint32_t width) { return ((uint64_t{width} + 31) >> 3) & ~uint64_t{3}; }

}  // namespace kest::runs
