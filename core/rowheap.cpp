// The row heap: first-fit blocks in one relocatable block, linked by
// offsets. See rowheap.h for the layout and its invariants.
#include "core/rowheap.h"

#include <cstring>

#include "kest/memory.h"

namespace kest::rowheap {
namespace {

constexpr uint64_t RoundUp(uint64_t value, uint64_t step) { return (value + step - 1) / step * step; }

void FreeListPush(uint8_t *heap, uint32_t offset) {
  HeapWords &words = Words(heap);
  BlockHeader &block = Block(heap, offset);
  block.FreePrev = 0;
  block.FreeNext = words.HeapFreeHead;
  if (words.HeapFreeHead != 0) Block(heap, words.HeapFreeHead).FreePrev = offset;
  words.HeapFreeHead = offset;
}

void FreeListRemove(uint8_t *heap, uint32_t offset) {
  BlockHeader &block = Block(heap, offset);
  if (block.FreePrev != 0) Block(heap, block.FreePrev).FreeNext = block.FreeNext;
  else Words(heap).HeapFreeHead = block.FreeNext;
  if (block.FreeNext != 0) Block(heap, block.FreeNext).FreePrev = block.FreePrev;
  block.FreePrev = 0;
  block.FreeNext = 0;
}

bool NextIsFree(uint8_t *heap, uint32_t offset) {
  const uint32_t next = Block(heap, offset).BlockNext;
  return next != 0 && Block(heap, next).BlockUsed == 0;
}

// The block after offset, which is free, becomes part of it.
void AbsorbNext(uint8_t *heap, uint32_t offset) {
  BlockHeader &block = Block(heap, offset);
  const uint32_t next = block.BlockNext;
  const BlockHeader absorbed = Block(heap, next);
  FreeListRemove(heap, next);
  block.BlockPayload += absorbed.BlockPayload + kBlockHeader;
  block.BlockNext = absorbed.BlockNext;
  if (absorbed.BlockNext != 0) Block(heap, absorbed.BlockNext).BlockPrev = offset;
  else Words(heap).HeapLastBlock = offset;
}

// Cuts a block to bytes of payload when the rest can carry a header and
// some payload; the rest becomes a free block at the head of the free
// list, merged with a free block after it.
void Split(uint8_t *heap, uint32_t offset, uint32_t bytes) {
  BlockHeader &block = Block(heap, offset);
  if (uint64_t{bytes} + kBlockHeader >= block.BlockPayload) return;
  const uint32_t tail = offset + kBlockHeader + bytes;
  BlockHeader &rest = Block(heap, tail);
  rest.BlockPrev = offset;
  rest.BlockNext = block.BlockNext;
  rest.BlockUsed = 0;
  rest.BlockPayload = block.BlockPayload - bytes - kBlockHeader;
  if (block.BlockNext != 0) Block(heap, block.BlockNext).BlockPrev = tail;
  else Words(heap).HeapLastBlock = tail;
  block.BlockNext = tail;
  block.BlockPayload = bytes;
  FreeListPush(heap, tail);
  if (NextIsFree(heap, tail)) AbsorbNext(heap, tail);
}

uint32_t FirstFit(uint8_t *heap, uint32_t bytes) {
  for (uint32_t offset = Words(heap).HeapFreeHead; offset != 0;
       offset = Block(heap, offset).FreeNext) {
    if (Block(heap, offset).BlockPayload >= bytes) return offset;
  }
  return 0;
}

// Payload sizes are whole words; 0 when the size cannot be held.
bool RoundBytes(uint32_t &bytes) {
  if (bytes > UINT32_MAX - 3) return false;
  bytes = (bytes + 3) & ~uint32_t{3};
  return true;
}

}  // namespace

uint8_t *HeapCreate(uint32_t bytesPerLine, uint32_t height) {
  uint64_t estimate = ((uint64_t{bytesPerLine} * height) >> 3) + kHeapHeader;
  if (estimate > kHeapStep) estimate = 0x400000;
  const auto size = static_cast<uint32_t>(RoundUp(estimate, kHeapStep));
  auto *heap = static_cast<uint8_t *>(K_Calloc(1, size));
  if (heap == nullptr) return nullptr;
  HeapWords &words = Words(heap);
  words.HeapTotal = size;
  words.HeapLastBlock = kHeapHeader;
  words.HeapFreeHead = kHeapHeader;
  Block(heap, kHeapHeader).BlockPayload = size - kHeapHeader - kBlockHeader;
  return heap;
}

void HeapDestroy(uint8_t *heap) { K_Free(heap); }

uint32_t HeapAlloc(uint8_t *&heap, uint32_t bytes) {
  if (!RoundBytes(bytes)) return 0;
  uint32_t offset = FirstFit(heap, bytes);
  if (offset == 0) {
    if (!HeapGrow(heap, bytes)) return 0;
    offset = FirstFit(heap, bytes);
    if (offset == 0) return 0;
  }
  Block(heap, offset).BlockUsed = 1;
  Split(heap, offset, bytes);
  FreeListRemove(heap, offset);
  return offset;
}

bool HeapGrow(uint8_t *&heap, uint32_t bytes) {
  if (!RoundBytes(bytes)) return false;
  const HeapWords before = Words(heap);
  const uint32_t last = before.HeapLastBlock;
  const bool lastFree = last != 0 && Block(heap, last).BlockUsed == 0;
  const uint64_t wish = lastFree ? uint64_t{before.HeapTotal} + bytes - Block(heap, last).BlockPayload
                                 : uint64_t{before.HeapTotal} + bytes + kBlockHeader;
  const uint64_t total = RoundUp(wish, kHeapStep);
  if (total <= before.HeapTotal) return true;  // the free end holds it already
  if (total > UINT32_MAX) return false;
  auto *moved = static_cast<uint8_t *>(K_Realloc(heap, static_cast<uint32_t>(total)));
  if (moved == nullptr) return false;
  heap = moved;
  std::memset(heap + before.HeapTotal, 0, static_cast<size_t>(total - before.HeapTotal));
  const auto added = static_cast<uint32_t>(total - before.HeapTotal);
  HeapWords &words = Words(heap);
  words.HeapTotal = static_cast<uint32_t>(total);
  if (lastFree) {
    Block(heap, last).BlockPayload += added;
    return true;
  }
  // A heap without blocks gets its first one where blocks begin.
  const uint32_t fresh = last == 0 ? kHeapHeader : before.HeapTotal;
  BlockHeader &block = Block(heap, fresh);
  block.BlockPrev = last;
  block.BlockNext = 0;
  block.BlockUsed = 0;
  block.BlockPayload = words.HeapTotal - fresh - kBlockHeader;
  if (last != 0) Block(heap, last).BlockNext = fresh;
  words.HeapLastBlock = fresh;
  FreeListPush(heap, fresh);
  return true;
}

void HeapFree(uint8_t *heap, uint32_t offset) {
  BlockHeader &block = Block(heap, offset);
  FreeListPush(heap, offset);
  block.BlockUsed = 0;
  if (NextIsFree(heap, offset)) AbsorbNext(heap, offset);
  const uint32_t previous = block.BlockPrev;
  if (previous != 0 && Block(heap, previous).BlockUsed == 0) AbsorbNext(heap, previous);
}

uint32_t HeapResize(uint8_t *&heap, uint32_t offset, uint32_t bytes) {
  if (!RoundBytes(bytes)) return 0;
  BlockHeader &block = Block(heap, offset);
  if (block.BlockPayload >= bytes) {
    Split(heap, offset, bytes);
    return offset;
  }
  if (NextIsFree(heap, offset) &&
      uint64_t{block.BlockPayload} + Block(heap, block.BlockNext).BlockPayload + kBlockHeader >=
          bytes) {
    AbsorbNext(heap, offset);
    Split(heap, offset, bytes);
    return offset;
  }
  const uint32_t fresh = HeapAlloc(heap, bytes);
  if (fresh == 0) return 0;
  std::memcpy(Payload(heap, fresh), Payload(heap, offset), Block(heap, offset).BlockPayload);
  HeapFree(heap, offset);
  return fresh;
}

bool HeapTrim(uint8_t *&heap) {
  const HeapWords words = Words(heap);
  const uint32_t last = words.HeapLastBlock;
  if (last == 0) return false;
  const BlockHeader block = Block(heap, last);
  if (block.BlockUsed != 0 || block.BlockPayload <= kTrimReserve) return false;
  // The block keeps one header's worth of room past its payload: the heap
  // ends 24 bytes after the block, which no block owns and a later growth
  // steps over.
  const uint32_t total = words.HeapTotal - block.BlockPayload + kTrimReserve + kBlockHeader;
  auto *moved = static_cast<uint8_t *>(K_Realloc(heap, total));
  if (moved == nullptr) return false;
  heap = moved;
  Words(heap).HeapTotal = total;
  Block(heap, last).BlockPayload = kTrimReserve;
  return true;
}

}  // namespace kest::rowheap
