// The two allocator families, the debug family and the runtime wrappers.
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>

#include "core/os/os.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::test::FailingAllocation;

bool AllZero(const void *block, size_t size) {
  auto *bytes = static_cast<const uint8_t *>(block);
  for (size_t i = 0; i < size; ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

TEST(HeapFamily, ReallocOfNullAllocatesAndGrowingKeepsTheBytes) {
  auto *block = static_cast<uint8_t *>(K_Realloc(nullptr, 16));
  ASSERT_NE(block, nullptr);
  std::memset(block, 0xA5, 16);
  block = static_cast<uint8_t *>(K_Realloc(block, 4096));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(block[i], 0xA5);
  K_Free(block);
  K_Free(nullptr);  // ignored

  void *zeroed = K_Calloc(100, 7);
  ASSERT_NE(zeroed, nullptr);
  EXPECT_TRUE(AllZero(zeroed, 700));
  K_Free(zeroed);
}

TEST(GlobalFamily, BlocksAreLockedGlobalBlocksWhoseHandleIsFoundAgain) {
  void *block = K_OsAlloc(1000);
  ASSERT_NE(block, nullptr);
  HGLOBAL handle = kest::os::GlobalHandle(block);
  ASSERT_NE(handle, nullptr);
  EXPECT_GE(kest::os::GlobalSize(handle), 1000u);
  EXPECT_EQ(K_OsFree(block), 0);
  EXPECT_EQ(K_OsFree(nullptr), 0);
}

TEST(GlobalFamily, ZeroingAllocationAndReallocation) {
  auto *block = static_cast<uint8_t *>(K_OsAllocInit(300, 1));
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(AllZero(block, 300));
  std::memset(block, 0x3C, 300);
  block = static_cast<uint8_t *>(K_OsReAllocInit(block, 5000));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 300; ++i) ASSERT_EQ(block[i], 0x3C) << i;
  EXPECT_TRUE(AllZero(block + 300, 4700)) << "new bytes of K_OsReAllocInit are zero";
  block = static_cast<uint8_t *>(K_OsReAlloc(block, 100));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block[99], 0x3C);
  K_OsFree(block);

  // A null block makes the re-allocations plain (zeroing) allocations.
  void *fresh = K_OsReAlloc(nullptr, 64);
  ASSERT_NE(fresh, nullptr);
  K_OsFree(fresh);
  fresh = K_OsReAllocInit(nullptr, 64);
  ASSERT_NE(fresh, nullptr);
  EXPECT_TRUE(AllZero(fresh, 64));
  K_OsFree(fresh);
}

TEST(GlobalFamily, FailedReallocationLeavesTheOldBlockUsable) {
  auto *block = static_cast<uint8_t *>(K_OsAlloc(32));
  ASSERT_NE(block, nullptr);
  std::memset(block, 7, 32);
  {
    FailingAllocation fail(1);
    EXPECT_EQ(K_OsReAlloc(block, 64), nullptr);
  }
  EXPECT_EQ(block[31], 7);
  EXPECT_NE(kest::os::GlobalHandle(block), nullptr);
  block = static_cast<uint8_t *>(K_OsReAlloc(block, 64));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block[31], 7);
  K_OsFree(block);
}

TEST(AllocationHook, FailsExactlyTheNthAllocationOfEitherFamily) {
  FailingAllocation fail(2);
  void *first = K_Malloc(8);
  void *second = K_OsAlloc(8);
  void *third = K_Calloc(1, 8);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_NE(third, nullptr);
  EXPECT_EQ(kest::testing::AllocationsCounted(), 3);
  K_Free(first);
  K_Free(third);
}

TEST(DebugFamily, BehavesAsThePlainCalls) {
  void *heap = K_CallocDump(4, 4, __FILE__, __LINE__);
  ASSERT_NE(heap, nullptr);
  EXPECT_TRUE(AllZero(heap, 16));
  heap = K_ReallocDump(heap, 64, __FILE__, __LINE__);
  ASSERT_NE(heap, nullptr);
  K_FreeDump(heap, __FILE__, __LINE__);
  K_FreeDump(K_MallocDump(10, nullptr, 0), nullptr, 0);

  void *os = K_OsAllocInitDump(32, 1, __FILE__, __LINE__);
  ASSERT_NE(os, nullptr);
  EXPECT_TRUE(AllZero(os, 32));
  os = K_OsReAllocInitDump(os, 128, __FILE__, __LINE__);
  ASSERT_NE(os, nullptr);
  EXPECT_TRUE(AllZero(os, 128));
  os = K_OsReAllocDump(os, 16, __FILE__, __LINE__);
  ASSERT_NE(os, nullptr);
  EXPECT_NE(kest::os::GlobalHandle(os), nullptr);
  EXPECT_EQ(K_OsFreeDump(os, __FILE__, __LINE__), 0);
  EXPECT_EQ(K_OsFreeDump(K_OsAllocDump(8, nullptr, 0), nullptr, 0), 0);
  K_DumpMemoryReport(0);
}

TEST(RuntimeWrappers, StrtokRefusesNullsAndSharesTheRuntimeState) {
  char text[] = "a,b;c";
  EXPECT_EQ(K_Strtok(nullptr, ","), nullptr);
  EXPECT_EQ(K_Strtok(text, nullptr), nullptr);
  char *token = K_Strtok(text, ",;");
  ASSERT_NE(token, nullptr);
  EXPECT_STREQ(token, "a");
  // The runtime's hidden state is shared: strtok goes on where K_Strtok left.
  EXPECT_STREQ(std::strtok(nullptr, ",;"), "b");

  char *end = nullptr;
  EXPECT_DOUBLE_EQ(K_Strtod("2.5x", &end), 2.5);
  EXPECT_EQ(*end, 'x');
  EXPECT_STREQ(K_Setlocale(LC_NUMERIC, nullptr), std::setlocale(LC_NUMERIC, nullptr));
}

}  // namespace
