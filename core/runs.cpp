// The byte-run tables, the run writer and reader, Expand, and the exported
// run buffers: K_CompressRow, K_CompressRows, K_ExpandRow, K_ExpandRows,
// K_MirrorCompressedBuffer, K_FlipCompressedBuffer.
#include "core/runs.h"

#include <algorithm>

#include "kest/compressed.h"
#include "kest/status.h"

namespace kest::runs {
namespace {

constexpr ByteRunTables MakeByteRunTables() {
  ByteRunTables tables{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t count = 0, length = 0, colour = byte >> 7;
    for (int bit = 7; bit >= 0; --bit) {
      const uint32_t value = (byte >> bit) & 1;
      if (value != colour) {
        tables.ByteRuns[byte][count++] = static_cast<uint8_t>(length);
        colour = value;
        length = 0;
      }
      ++length;
    }
    tables.ByteRuns[byte][count++] = static_cast<uint8_t>(length);
    tables.ByteRunCount[byte] = static_cast<uint8_t>(count);
  }
  return tables;
}

uint64_t Load64(const uint8_t *bytes) {
  uint64_t value;
  std::memcpy(&value, bytes, 8);
  return value;
}

// Sets n bits of out from bit `from` on.
void SetBits(uint8_t *out, uint64_t from, uint64_t n) {
  uint8_t *byte = out + (from >> 3);
  const uint32_t phase = from & 7;
  if (phase + n <= 8) {
    *byte |= static_cast<uint8_t>((0xFFu >> phase) & (0xFFu << (8 - phase - n)));
    return;
  }
  *byte++ |= static_cast<uint8_t>(0xFFu >> phase);
  n -= 8 - phase;
  std::memset(byte, 0xFF, n >> 3);
  byte += n >> 3;
  if (n & 7) *byte |= static_cast<uint8_t>(0xFFu << (8 - (n & 7)));
}

}  // namespace

constinit const ByteRunTables kByteRunTables = MakeByteRunTables();

void RunWriter::FlushLong() {
  while (run_ > kLongestRun) {
    Store(kLongestRun);
    Store(0);
    run_ -= kLongestRun;
  }
}

// The runs of a whole byte: the first joins the current run when it has the
// same colour, every further one begins a run of the other colour.
void RunWriter::WholeByte(uint32_t byte) {
  const uint32_t count = kByteRunTables.ByteRunCount[byte];
  const uint8_t *lengths = kByteRunTables.ByteRuns[byte];
  uint32_t i = 0;
  if ((byte >> 7) == colour_) {
    run_ += lengths[0];
    i = 1;
  }
  for (; i < count; ++i) {
    Flush();
    run_ = lengths[i];
    colour_ ^= 1;
  }
}

// The first `bits` bits of byte (from bit 7), the runs cut to them.
void RunWriter::PartByte(uint32_t byte, uint32_t bits) {
  const uint32_t count = kByteRunTables.ByteRunCount[byte];
  const uint8_t *lengths = kByteRunTables.ByteRuns[byte];
  for (uint32_t i = 0; i < count && bits != 0; ++i) {
    const uint32_t length = std::min<uint32_t>(lengths[i], bits);
    Add(((byte >> 7) ^ i) & 1, length);
    bits -= length;
  }
}

void RunWriter::Bits(const uint8_t *source, uint64_t startBit, uint64_t pixels) {
  const uint8_t *byte = source + (startBit >> 3);
  const uint32_t phase = startBit & 7;
  if (phase != 0 && pixels != 0) {
    const uint32_t bits = static_cast<uint32_t>(std::min<uint64_t>(8 - phase, pixels));
    PartByte((*byte << phase) & 0xFF, bits);
    pixels -= bits;
    ++byte;
  }
  const uint8_t *end = byte + (pixels >> 3);
  while (byte < end) {
    const uint32_t value = *byte;
    // A byte all of the current colour only lengthens the run: so may the
    // words after it, which is most of a scanned page.
    if (value == (colour_ != 0 ? 0xFFu : 0u)) {
      const uint64_t fill = colour_ != 0 ? ~uint64_t{0} : 0;
      const uint8_t *next = byte + 1;
      while (end - next >= 8 && Load64(next) == fill) next += 8;
      while (next < end && *next == value) ++next;
      run_ += 8 * static_cast<uint64_t>(next - byte);
      byte = next;
      continue;
    }
    WholeByte(value);
    ++byte;
  }
  if (pixels & 7) PartByte(*end, pixels & 7);
}

void RunReader::Copy(RunWriter &writer, uint64_t n) {
  while (n != 0) {
    if (index_ >= count_) {
      writer.Add(0, n);
      return;
    }
    const uint64_t take = std::min(left_, n);
    writer.Add(index_ & 1, take);
    left_ -= take;
    n -= take;
    if (left_ == 0) {
      ++index_;
      Load();
    }
  }
}

void RunReader::Skip(uint64_t n) {
  while (n != 0 && index_ < count_) {
    const uint64_t take = std::min(left_, n);
    left_ -= take;
    n -= take;
    if (left_ == 0) {
      ++index_;
      Load();
    }
  }
}

void Expand(const uint8_t *runs, uint32_t count, uint8_t *out, uint64_t startColumn,
            uint64_t pixels) {
  std::memset(out, 0, (pixels + 7) >> 3);
  if (runs == nullptr) return;
  uint64_t position = 0;
  uint32_t i = 0;
  for (; i < count; ++i) {
    const uint32_t length = LoadRun(runs, i);
    if (position + length > startColumn) break;
    position += length;
  }
  const uint64_t end = startColumn + pixels;
  for (; i < count && position < end; ++i) {
    const uint64_t length = LoadRun(runs, i);
    if (i & 1) {
      const uint64_t from = std::max(position, startColumn);
      const uint64_t to = std::min(position + length, end);
      if (to > from) SetBits(out, from - startColumn, to - from);
    }
    position += length;
  }
}

}  // namespace kest::runs

using namespace kest::runs;

KEST_API int32_t K_CompressRow(void *runs, uint8_t *row, uint32_t startBit, uint32_t pixelCount) {
  if (runs == nullptr || row == nullptr) return K_ERR_PARAMETER;
  auto *packed = static_cast<uint8_t *>(runs);
  RunWriter writer(packed + 4);
  writer.Bits(row, startBit & 7, pixelCount);
  StoreCount(packed, writer.Finish());
  return static_cast<int32_t>(pixelCount);
}

KEST_API int32_t K_CompressRows(void *runs, uint8_t *rows, uint32_t width, uint32_t rowCount) {
  if (runs == nullptr || rows == nullptr) return K_ERR_PARAMETER;
  auto *packed = static_cast<uint8_t *>(runs);
  const size_t stride = BufferStride(width);
  for (uint32_t i = 0; i < rowCount; ++i) {
    RunWriter writer(packed + 4);
    writer.Bits(rows + i * stride, 0, width);
    const uint32_t count = writer.Finish();
    StoreCount(packed, count);
    packed += 4 + 2 * size_t{count};
  }
  return K_SUCCESS;
}

KEST_API int32_t K_ExpandRow(void *runs, uint8_t *row, uint32_t startColumn, int32_t pixelCount) {
  if (runs == nullptr || row == nullptr) return K_ERR_PARAMETER;
  if (pixelCount <= 0) return K_SUCCESS;
  const auto *packed = static_cast<const uint8_t *>(runs);
  Expand(packed + 4, LoadCount(packed), row, startColumn, static_cast<uint32_t>(pixelCount));
  return K_SUCCESS;
}

KEST_API int32_t K_ExpandRows(void *runs, uint8_t *rows, uint32_t width, int32_t rowCount) {
  if (runs == nullptr || rows == nullptr) return K_ERR_PARAMETER;
  const auto *packed = static_cast<const uint8_t *>(runs);
  const size_t stride = BufferStride(width);
  for (int32_t i = 0; i < rowCount; ++i) {
    Expand(packed + 4, LoadCount(packed), rows + i * stride, 0, width);
    packed += PackedBytes(packed);
  }
  return K_SUCCESS;
}

// Each row reversed: an empty run 0 is dropped, and a row that ends on 1
// pixels (an even count) gets one in front, so the colours stay in step.
KEST_API int32_t K_MirrorCompressedBuffer(void *source, void *destination, uint32_t rowCount) {
  if (source == nullptr || destination == nullptr) return K_ERR_PARAMETER;
  const auto *from = static_cast<const uint8_t *>(source);
  auto *to = static_cast<uint8_t *>(destination);
  for (uint32_t row = 0; row < rowCount; ++row) {
    const uint32_t count = LoadCount(from);
    const uint8_t *runs = from + 4;
    if (count == 0) {
      StoreCount(to, 0);
      from += 4;
      to += 4;
      continue;
    }
    const bool endsOnZero = (count & 1) != 0;
    const uint32_t first = LoadRun(runs, 0) == 0 ? 1 : 0;
    uint32_t out = 0;
    if (!endsOnZero) StoreRun(to + 4, out++, 0);
    for (uint32_t i = count; i > first; --i) StoreRun(to + 4, out++, LoadRun(runs, i - 1));
    StoreCount(to, out);
    from += 4 + 2 * size_t{count};
    to += 4 + 2 * size_t{out};
  }
  return K_SUCCESS;
}

KEST_API int32_t K_FlipCompressedBuffer(void *source, void *destination, int32_t rowCount) {
  if (source == nullptr || destination == nullptr) return K_ERR_PARAMETER;
  const auto *from = static_cast<const uint8_t *>(source);
  size_t total = 0;
  for (int32_t row = 0; row < rowCount; ++row) total += PackedBytes(from + total);
  auto *to = static_cast<uint8_t *>(destination) + total;
  for (int32_t row = 0; row < rowCount; ++row) {
    const size_t bytes = PackedBytes(from);
    to -= bytes;
    std::memcpy(to, from, bytes);
    from += bytes;
  }
  return K_SUCCESS;
}
