// The row heap: its first size, first fit, splitting, the free list order,
// merging on free, growth, resizing and trimming, and a random run of
// allocations checked against the heap's invariants and the blocks' bytes.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "core/rowheap.h"
#include "support/test_support.h"

namespace {

using namespace kest::rowheap;

// Owns a heap for a test.
class Heap {
 public:
  Heap(uint32_t bytesPerLine, uint32_t height) : heap_(HeapCreate(bytesPerLine, height)) {}
  ~Heap() { HeapDestroy(heap_); }
  uint8_t *&get() { return heap_; }
  HeapWords &words() { return Words(heap_); }
  BlockHeader &block(uint32_t offset) { return Block(heap_, offset); }
  std::vector<uint32_t> FreeList() {
    std::vector<uint32_t> list;
    for (uint32_t at = words().HeapFreeHead; at != 0; at = block(at).FreeNext) list.push_back(at);
    return list;
  }

 private:
  uint8_t *heap_;
};

// Walks the blocks and the free list and checks that they agree: links
// both ways, blocks in order inside the heap, no two free blocks side by
// side, and every free block on the free list once.
void ExpectHeapSound(Heap &heap) {
  const HeapWords words = heap.words();
  std::set<uint32_t> freeBlocks;
  uint32_t previous = 0, at = kHeapHeader;
  bool previousFree = false;
  while (at != 0) {
    const BlockHeader &block = heap.block(at);
    ASSERT_EQ(block.BlockPrev, previous) << "at " << at;
    ASSERT_LE(uint64_t{at} + kBlockHeader + block.BlockPayload, words.HeapTotal);
    ASSERT_EQ(block.BlockPayload % 4, 0u);
    if (block.BlockNext != 0) {
      ASSERT_GE(block.BlockNext, at + kBlockHeader + block.BlockPayload);
    }
    const bool isFree = block.BlockUsed == 0;
    ASSERT_FALSE(isFree && previousFree) << "free blocks side by side at " << at;
    if (isFree) freeBlocks.insert(at);
    previousFree = isFree;
    previous = at;
    at = block.BlockNext;
  }
  EXPECT_EQ(words.HeapLastBlock, previous);
  std::set<uint32_t> listed;
  uint32_t before = 0;
  for (uint32_t entry = words.HeapFreeHead; entry != 0; entry = heap.block(entry).FreeNext) {
    ASSERT_TRUE(listed.insert(entry).second) << "listed twice: " << entry;
    ASSERT_EQ(heap.block(entry).FreePrev, before);
    before = entry;
  }
  EXPECT_EQ(listed, freeBlocks);
}

TEST(RowHeap, FirstSizeIsAnEighthInSteps) {
  struct Case {
    uint32_t stride, height, total;
  };
  const Case cases[] = {
      {4, 10, kHeapStep},              // tiny bitmaps get one step
      {4, 524264, kHeapStep},          // an eighth (and 12) of exactly one step
      {4, 524266, 0x400000},           // one byte more gets 4 MiB
      {260, 8192, 0x400000},
      {8000, 100000, 0x400000},        // however large the bitmap
  };
  for (const Case &c : cases) {
    Heap heap(c.stride, c.height);
    ASSERT_NE(heap.get(), nullptr);
    EXPECT_EQ(heap.words().HeapTotal, c.total) << c.stride << "x" << c.height;
    EXPECT_EQ(heap.words().HeapLastBlock, kHeapHeader);
    EXPECT_EQ(heap.words().HeapFreeHead, kHeapHeader);
    EXPECT_EQ(heap.block(kHeapHeader).BlockPayload, c.total - 36);
    EXPECT_EQ(heap.block(kHeapHeader).BlockUsed, 0u);
  }
}

TEST(RowHeap, AllocationSplitsTheFirstFitAndRoundsToWords) {
  Heap heap(4, 4);
  const uint32_t a = HeapAlloc(heap.get(), 10);
  EXPECT_EQ(a, kHeapHeader);
  EXPECT_EQ(heap.block(a).BlockPayload, 12u);
  EXPECT_EQ(heap.block(a).BlockUsed, 1u);
  const uint32_t tail = a + kBlockHeader + 12;
  EXPECT_EQ(heap.block(a).BlockNext, tail);
  EXPECT_EQ(heap.words().HeapLastBlock, tail);
  EXPECT_EQ(heap.FreeList(), std::vector<uint32_t>{tail});
  EXPECT_EQ(heap.block(tail).BlockPayload, kHeapStep - 36 - 12 - 24);

  // A block whose rest could not carry a header and a payload is not cut.
  const uint32_t b = HeapAlloc(heap.get(), 40);
  const uint32_t c = HeapAlloc(heap.get(), 8);
  HeapFree(heap.get(), b);
  EXPECT_EQ(HeapAlloc(heap.get(), 20), b);
  EXPECT_EQ(heap.block(b).BlockPayload, 40u);  // 20 + 24 is not below 40
  HeapFree(heap.get(), b);
  EXPECT_EQ(HeapAlloc(heap.get(), 12), b);
  EXPECT_EQ(heap.block(b).BlockPayload, 12u);  // 12 + 24 is below 40: a free block of 4 follows
  EXPECT_EQ(heap.block(heap.block(b).BlockNext).BlockPayload, 4u);
  EXPECT_EQ(heap.block(heap.block(b).BlockNext).BlockNext, c);
  ExpectHeapSound(heap);
}

TEST(RowHeap, FreeListIsNewestFirstAndFirstFitTakesIt) {
  Heap heap(4, 4);
  uint32_t blocks[5];
  for (uint32_t &block : blocks) block = HeapAlloc(heap.get(), 64);
  HeapFree(heap.get(), blocks[1]);
  HeapFree(heap.get(), blocks[3]);
  const uint32_t end = heap.block(blocks[4]).BlockNext;
  EXPECT_EQ(heap.FreeList(), (std::vector<uint32_t>{blocks[3], blocks[1], end}));
  // The newest free block is taken although a lower one fits as well.
  EXPECT_EQ(HeapAlloc(heap.get(), 32), blocks[3]);
  ExpectHeapSound(heap);
}

TEST(RowHeap, FreeingMergesWithBothNeighbours) {
  Heap heap(4, 4);
  const uint32_t a = HeapAlloc(heap.get(), 16), b = HeapAlloc(heap.get(), 32),
                 c = HeapAlloc(heap.get(), 48), d = HeapAlloc(heap.get(), 8);
  HeapFree(heap.get(), a);
  HeapFree(heap.get(), c);
  HeapFree(heap.get(), b);  // a, b and c become one block at a
  EXPECT_EQ(heap.block(a).BlockUsed, 0u);
  EXPECT_EQ(heap.block(a).BlockPayload, 16u + 32 + 48 + 2 * kBlockHeader);
  EXPECT_EQ(heap.block(a).BlockNext, d);
  EXPECT_EQ(heap.block(d).BlockPrev, a);
  HeapFree(heap.get(), d);  // and the free end of the heap with them
  EXPECT_EQ(heap.words().HeapLastBlock, a);
  EXPECT_EQ(heap.FreeList(), std::vector<uint32_t>{a});
  EXPECT_EQ(heap.block(a).BlockPayload, heap.words().HeapTotal - 36);
  ExpectHeapSound(heap);
}

TEST(RowHeap, GrowthExtendsAFreeLastBlockOrAddsOne) {
  Heap heap(4, 4);
  // Free last block: the wish is what it lacks, in whole steps.
  const uint32_t big = HeapAlloc(heap.get(), kHeapStep);
  EXPECT_EQ(big, kHeapHeader);
  EXPECT_EQ(heap.words().HeapTotal, 2 * kHeapStep);
  EXPECT_EQ(heap.words().HeapLastBlock, heap.block(big).BlockNext);
  // Used last block: a new free block begins at the old end.
  const uint32_t rest = heap.block(big).BlockNext;
  EXPECT_EQ(HeapAlloc(heap.get(), heap.block(rest).BlockPayload), rest);
  const uint32_t oldTotal = heap.words().HeapTotal;
  ASSERT_TRUE(HeapGrow(heap.get(), 100));
  EXPECT_EQ(heap.words().HeapTotal, oldTotal + kHeapStep);
  EXPECT_EQ(heap.words().HeapLastBlock, oldTotal);
  EXPECT_EQ(heap.block(oldTotal).BlockPayload, kHeapStep - kBlockHeader);
  EXPECT_EQ(heap.words().HeapFreeHead, oldTotal);
  ExpectHeapSound(heap);
}

TEST(RowHeap, FailedGrowthLeavesTheHeapAsItWas) {
  Heap heap(4, 4);
  const uint32_t total = heap.words().HeapTotal;
  kest::test::FailingAllocation fail(1);
  EXPECT_EQ(HeapAlloc(heap.get(), kHeapStep), 0u);
  EXPECT_EQ(heap.words().HeapTotal, total);
  EXPECT_EQ(heap.FreeList(), std::vector<uint32_t>{kHeapHeader});
  ExpectHeapSound(heap);
}

TEST(RowHeap, ResizeInPlaceIntoTheNextBlockOrByMoving) {
  Heap heap(4, 4);
  const uint32_t a = HeapAlloc(heap.get(), 64);
  const uint32_t b = HeapAlloc(heap.get(), 64);
  const uint32_t c = HeapAlloc(heap.get(), 16);
  for (int i = 0; i < 64; ++i) Payload(heap.get(), a)[i] = static_cast<uint8_t>(i);
  // Smaller: cut in place, the rest free.
  EXPECT_EQ(HeapResize(heap.get(), a, 8), a);
  EXPECT_EQ(heap.block(a).BlockPayload, 8u);
  // Larger again, taking that rest back: all of it, as what would be left
  // could not carry a block.
  EXPECT_EQ(HeapResize(heap.get(), a, 40), a);
  EXPECT_EQ(heap.block(a).BlockPayload, 64u);
  // Into a freed neighbour.
  HeapFree(heap.get(), b);
  EXPECT_EQ(HeapResize(heap.get(), a, 120), a);
  EXPECT_EQ(heap.block(a).BlockPayload, 120u);
  EXPECT_EQ(heap.block(heap.block(a).BlockNext).BlockPayload, 8u);
  EXPECT_EQ(heap.block(heap.block(a).BlockNext).BlockNext, c);
  // Beyond: a new block, the payload copied, the old one freed.
  const uint32_t moved = HeapResize(heap.get(), a, 400);
  EXPECT_NE(moved, a);
  EXPECT_EQ(heap.block(a).BlockUsed, 0u);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(Payload(heap.get(), moved)[i], i);
  ExpectHeapSound(heap);
}

TEST(RowHeap, TrimLeaves128FreeBytesAtTheEnd) {
  Heap heap(4, 4);
  const uint32_t a = HeapAlloc(heap.get(), 100);
  const uint32_t last = heap.block(a).BlockNext;
  ASSERT_TRUE(HeapTrim(heap.get()));
  EXPECT_EQ(heap.block(last).BlockPayload, kTrimReserve);
  EXPECT_EQ(heap.words().HeapTotal, last + kBlockHeader + kTrimReserve + kBlockHeader);
  EXPECT_FALSE(HeapTrim(heap.get()));  // 128 is not above 128
  // A used last block: nothing to trim.
  EXPECT_EQ(HeapAlloc(heap.get(), kTrimReserve), last);
  EXPECT_FALSE(HeapTrim(heap.get()));
  // Growth after a trim steps over the room the trim left.
  EXPECT_NE(HeapAlloc(heap.get(), 1000), 0u);
  ExpectHeapSound(heap);
}

TEST(RowHeap, RandomAllocationsKeepTheirBytesAndTheHeapSound) {
  Heap heap(16, 16);
  std::mt19937 random(7);
  std::map<uint32_t, std::pair<uint32_t, uint8_t>> live;  // offset: bytes, fill
  auto fill = [&](uint32_t offset, uint32_t bytes, uint8_t value) {
    std::memset(Payload(heap.get(), offset), value, bytes);
    live[offset] = {bytes, value};
  };
  for (int step = 0; step < 3000; ++step) {
    const uint32_t bytes = random() % 3 == 0 ? random() % 20000 : random() % 200;
    const auto value = static_cast<uint8_t>(step);
    const int action = live.empty() ? 0 : static_cast<int>(random() % 3);
    if (action == 0) {
      const uint32_t offset = HeapAlloc(heap.get(), bytes);
      ASSERT_NE(offset, 0u);
      ASSERT_EQ(live.count(offset), 0u);
      fill(offset, bytes, value);
    } else {
      auto chosen = live.begin();
      std::advance(chosen, random() % live.size());
      const auto [offset, content] = *chosen;
      live.erase(chosen);
      if (action == 1) {
        HeapFree(heap.get(), offset);
      } else {
        const uint32_t moved = HeapResize(heap.get(), offset, bytes);
        ASSERT_NE(moved, 0u);
        const uint32_t kept = std::min(bytes, content.first);
        for (uint32_t i = 0; i < kept; ++i) ASSERT_EQ(Payload(heap.get(), moved)[i], content.second);
        fill(moved, bytes, value);
      }
    }
    for (const auto &[offset, content] : live) {
      const uint8_t *payload = Payload(heap.get(), offset);
      ASSERT_TRUE(content.first == 0 || (payload[0] == content.second &&
                                         payload[content.first - 1] == content.second))
          << "step " << step;
    }
    if (step % 50 == 0) ExpectHeapSound(heap);
  }
  ExpectHeapSound(heap);
}

}  // namespace
