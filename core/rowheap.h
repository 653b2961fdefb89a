// The row heap of run-compressed bitmaps: HeapCreate, HeapAlloc, HeapGrow,
// HeapFree, HeapResize, HeapTrim.
//
// One contiguous block from K_Calloc that K_Realloc moves when it grows, so
// every link inside it is a byte offset from its start, 0 meaning none.
// The block begins with three words (HeapTotal, HeapLastBlock,
// HeapFreeHead); blocks follow from offset 12 to the very end, each a
// header of six words and a payload that is a multiple of 4 bytes. Free
// blocks are also on a doubly linked free list, newest first. No two free
// blocks lie next to each other once a call has returned: freeing and
// splitting merge them.
//
// Any call that can grow the heap takes the base by reference and may move
// it: callers reload every pointer into the heap afterwards.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kest::rowheap {

inline constexpr uint32_t kHeapHeader = 12;
inline constexpr uint32_t kBlockHeader = 24;
// The heap grows, and starts, in steps of 256 KiB, which bounds how often
// the whole block moves.
inline constexpr uint32_t kHeapStep = 0x40000;
// What a trim leaves free at the end, so that the next row write does not
// grow the heap at once.
inline constexpr uint32_t kTrimReserve = 128;

struct HeapWords {
  uint32_t HeapTotal;      // bytes of the whole block
  uint32_t HeapLastBlock;  // offset of the physically last block, 0 if none
  uint32_t HeapFreeHead;   // offset of the first free block, 0 if none
};

struct BlockHeader {
  uint32_t BlockPrev;     // physically preceding block, 0 for the first
  uint32_t BlockNext;     // physically following block, 0 for the last
  uint32_t BlockUsed;     // 1 in use, 0 free
  uint32_t FreePrev;      // neighbours on the free list
  uint32_t FreeNext;
  uint32_t BlockPayload;  // bytes after the header
};
static_assert(sizeof(BlockHeader) == kBlockHeader);

inline HeapWords &Words(uint8_t *heap) { return *reinterpret_cast<HeapWords *>(heap); }
inline BlockHeader &Block(uint8_t *heap, uint32_t offset) {
  return *reinterpret_cast<BlockHeader *>(heap + offset);
}
inline uint8_t *Payload(uint8_t *heap, uint32_t offset) { return heap + offset + kBlockHeader; }

// A heap for a bitmap of that stride and height: an eighth of its plain
// size, at least 256 KiB, and 4 MiB when the eighth is more than 256 KiB.
// One free block fills it. Null when out of memory.
uint8_t *HeapCreate(uint32_t bytesPerLine, uint32_t height);
void HeapDestroy(uint8_t *heap);

// A block with at least bytes of payload (rounded up to 4), first fit,
// growing the heap if no free block is large enough. Its offset, or 0 when
// the heap could not grow; the heap is then as it was.
uint32_t HeapAlloc(uint8_t *&heap, uint32_t bytes);
// Adds room for bytes of payload at the end, in whole steps. False when out
// of memory, the heap unchanged.
bool HeapGrow(uint8_t *&heap, uint32_t bytes);
// Returns a block and merges it with free neighbours.
void HeapFree(uint8_t *heap, uint32_t offset);
// Gives a block bytes of payload: in place when it has them or can take
// them from a free block after it, else in a new block with the old
// payload copied. The block's offset, or 0 when out of memory; the old
// block then stands.
uint32_t HeapResize(uint8_t *&heap, uint32_t offset, uint32_t bytes);
// Cuts a free last block down to kTrimReserve bytes of payload. True when
// the heap shrank; false when there was nothing to gain or the shrink
// failed.
bool HeapTrim(uint8_t *&heap);

}  // namespace kest::rowheap
