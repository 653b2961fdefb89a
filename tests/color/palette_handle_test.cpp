// Palette handles: the platform's palette objects (the system's on Windows,
// the stand-alone ones elsewhere) held to one behaviour, the K_ functions
// over them, and the system's static colours.
#include <gtest/gtest.h>

#include <cstring>

#include "color/palette.h"
#include "color/palette_support.h"
#include "core/os/gdi.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

namespace os = kest::os;
using kest::test::Colors;
using kest::test::Palette;
using kest::test::Quad;
using kest::test::TestBitmap;
using Rgb = std::vector<uint32_t>;

// An owned palette object of n entries: entry i is (10 i, 20 i, 30 i) with
// flags 0xF0 + i.
class Handle {
 public:
  explicit Handle(uint16_t n) {
    std::vector<uint8_t> storage(sizeof(LOGPALETTE) + n * sizeof(PALETTEENTRY));
    auto *logical = reinterpret_cast<LOGPALETTE *>(storage.data());
    logical->palVersion = 0x300;
    logical->palNumEntries = n;
    PALETTEENTRY *entries = logical->palPalEntry;
    for (int i = 0; i < n; ++i) {
      entries[i] = PALETTEENTRY{static_cast<uint8_t>(10 * i), static_cast<uint8_t>(20 * i),
                                static_cast<uint8_t>(30 * i), static_cast<uint8_t>(0xF0 + i)};
    }
    handle_ = os::CreatePalette(logical);
  }
  ~Handle() { os::DeleteObject(handle_); }
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;
  HPALETTE get() const { return handle_; }

 private:
  HPALETTE handle_;
};

TEST(PaletteObject, ReadsAndWritesClipToTheEnd) {
  struct Case {
    uint32_t first, count, moved;
  };
  const Case cases[] = {{0, 4, 4}, {1, 2, 2}, {2, 10, 2}, {3, 1, 1}, {4, 1, 0}, {7, 3, 0}};
  for (const Case &c : cases) {
    Handle palette(4);
    ASSERT_EQ(os::GetPaletteEntryCount(palette.get()), 4u);
    PALETTEENTRY out[8];
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(os::GetPaletteEntries(palette.get(), c.first, c.count, out), c.moved)
        << "read " << c.first << "+" << c.count;
    if (c.moved > 0) {
      EXPECT_EQ(out[0].peRed, 10 * c.first);
      EXPECT_EQ(out[0].peFlags, 0xF0 + c.first);  // flags are kept as given
    }
    EXPECT_EQ(out[c.moved].peRed, 0xEE);
    const PALETTEENTRY zeros[8] = {};
    EXPECT_EQ(os::SetPaletteEntries(palette.get(), c.first, c.count, zeros), c.moved)
        << "write " << c.first << "+" << c.count;
  }
  // A count of 0 asks for the size and moves nothing.
  Handle palette(4);
  PALETTEENTRY untouched{1, 2, 3, 4};
  EXPECT_EQ(os::GetPaletteEntries(palette.get(), 0, 0, &untouched), 4u);
  EXPECT_EQ(untouched.peRed, 1);
  EXPECT_EQ(os::SetPaletteEntries(palette.get(), 0, 1, nullptr), 0u);
  // Null entries: the size, as documented; Wine gives the clipped count.
  EXPECT_EQ(os::GetPaletteEntries(palette.get(), 1, 2, nullptr),
            kest::test::RunningUnderWine() ? 2u : 4u);
}

TEST(PaletteObject, NearestIsTheFirstAtTheSmallestSumOfSquares) {
  Handle palette(4);  // 000000, 0A141E, 14283C, 1E3C5A
  const PALETTEENTRY again{10, 20, 30, 0};
  os::SetPaletteEntries(palette.get(), 3, 1, &again);  // entry 3 repeats entry 1
  struct Case {
    COLORREF color;
    uint32_t index;
  };
  const Case cases[] = {{0x1E140A, 1},               // exact, and repeated later
                        {0x3C2814, 2},               // red in the low byte
                        {0x021E140A, 1},             // the top byte is not looked at
                        {0x000505, 0},               // 50 from entry 0, 1150 from entry 1
                        {0x0F0A05, 0},               // 350 from both: the first
                        {0xFFFFFF, 2}};
  for (const Case &c : cases) {
    EXPECT_EQ(os::GetNearestPaletteIndex(palette.get(), c.color), c.index) << std::hex << c.color;
  }
}

TEST(PaletteObject, BadHandlesAreRefused) {
  Handle empty(0);
  ASSERT_NE(empty.get(), nullptr);  // 0 entries are accepted
  EXPECT_EQ(os::GetPaletteEntryCount(empty.get()), 0u);

  HPALETTE gone = Handle(3).get();  // deleted at once
  PALETTEENTRY out[3];
  EXPECT_EQ(os::GetPaletteEntryCount(gone), 0u);
  EXPECT_EQ(os::GetPaletteEntries(gone, 0, 3, out), 0u);
  EXPECT_EQ(os::SetPaletteEntries(gone, 0, 3, out), 0u);
  EXPECT_FALSE(os::DeleteObject(gone));
  EXPECT_EQ(os::GetPaletteEntryCount(nullptr), 0u);
  EXPECT_FALSE(os::DeleteObject(nullptr));
  // The system documents CLR_INVALID for a handle that is not a palette;
  // Wine returns 0 there.
  const uint32_t refused = kest::test::RunningUnderWine() ? 0 : os::kClrInvalid;
  EXPECT_EQ(os::GetNearestPaletteIndex(nullptr, 0x808080), refused);
  EXPECT_EQ(os::GetNearestPaletteIndex(gone, 0x808080), refused);
}

TEST(PaletteHandles, RoundTripWithTheReservedByteAsFlags) {
  std::vector<RGBQUAD> colors = Palette({0x102030, 0x405060, 0x708090});
  colors[1].rgbReserved = 0x04;
  HPALETTE handle = K_CreatePalette(colors.data(), 3);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(K_GetPaletteSize(handle), 3u);
  RGBQUAD out[4];
  std::memset(out, 0x55, sizeof out);
  EXPECT_EQ(K_GetPaletteEntries(handle, 1, 5, out), 2u);
  EXPECT_EQ(Colors(out, 2), (Rgb{0x405060, 0x708090}));
  EXPECT_EQ(out[0].rgbReserved, 0x04);
  EXPECT_EQ(out[2].rgbRed, 0x55);
  EXPECT_EQ(K_GetPaletteEntries(handle, 0, 0, out), 0u);  // not the size
  EXPECT_EQ(out[0].rgbRed, 0x40);
  EXPECT_EQ(K_GetPaletteEntries(handle, 0, 3, nullptr), 0u);

  const std::vector<RGBQUAD> two = Palette({0xAAAAAA, 0xBBBBBB});
  EXPECT_EQ(K_SetPaletteEntries(handle, 2, 2, two.data()), 1u);
  EXPECT_EQ(K_SetPaletteEntries(handle, 0, 2, nullptr), 0u);
  HPALETTE copy = K_DupPalette(handle);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, handle);
  EXPECT_EQ(K_GetPaletteEntries(copy, 0, 3, out), 3u);
  EXPECT_EQ(Colors(out, 3), (Rgb{0x102030, 0x405060, 0xAAAAAA}));
  EXPECT_EQ(out[1].rgbReserved, 0x04);
  EXPECT_EQ(K_OsDeletePalette(copy), K_SUCCESS);
  EXPECT_EQ(K_OsDeletePalette(copy), K_FAILURE);
  K_OsDeletePalette(handle);

  std::vector<RGBQUAD> many(257, Quad(0));
  EXPECT_EQ(K_CreatePalette(many.data(), 257), nullptr);
  EXPECT_EQ(K_CreatePalette(nullptr, 2), nullptr);
  HPALETTE none = K_CreatePalette(many.data(), 0);  // passed on to the system
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(K_GetPaletteSize(none), 0u);
  EXPECT_EQ(K_DupPalette(none), nullptr);
  TestBitmap bitmap(8, 0);
  EXPECT_EQ(K_SetBitmapPalette(bitmap.get(), none), K_ERR_PARAMETER);  // fewer than 2
  os::DeleteObject(none);
  EXPECT_EQ(K_GetPaletteSize(nullptr), 0u);
}

TEST(PaletteHandles, RecordPaletteToHandleAndBack) {
  const std::vector<RGBQUAD> colors = Palette({0x000000, 0x808080, 0xFF0000, 0xFFFFFF});
  TestBitmap source(2, 4, colors);
  HPALETTE handle = K_DupBitmapPalette(source.get());
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(K_GetPaletteSize(handle), 4u);

  TestBitmap target(8, 256, std::vector<RGBQUAD>(256, Quad(0x123456)));
  ASSERT_EQ(K_SetBitmapPalette(target.get(), handle), K_SUCCESS);
  EXPECT_EQ(target->ColorsCount, 4);
  EXPECT_EQ(Colors(target->Palette, 4), Colors(colors.data(), 4));

  EXPECT_EQ(K_SetBitmapPalette(nullptr, handle), K_ERR_BITMAP);
  EXPECT_EQ(K_SetBitmapPalette(target.get(), nullptr), K_ERR_PARAMETER);
  {
    kest::test::FailingAllocation fail(1);
    EXPECT_EQ(K_SetBitmapPalette(target.get(), handle), K_ERR_NOMEMORY);
  }
  EXPECT_EQ(target->Palette, nullptr);  // the old one went first
  target->RecordSize = 0;
  EXPECT_EQ(K_SetBitmapPalette(target.get(), handle), K_ERR_RECORD_SIZE);
  os::DeleteObject(handle);

  TestBitmap bare(8, 256);
  EXPECT_EQ(K_DupBitmapPalette(bare.get()), nullptr);
  EXPECT_EQ(K_DupBitmapPalette(nullptr), nullptr);
  source->RecordSize = 0;
  EXPECT_EQ(K_DupBitmapPalette(source.get()), nullptr);
}

TEST(PaletteHandles, NearestIndexOfARecordGoesThroughTheSystem) {
  TestBitmap bitmap(2, 4, Palette({0x000000, 0x808080, 0xFF0000, 0x808080}));
  EXPECT_EQ(K_GetNearestPaletteIndex(bitmap.get(), 0x0000F0), 2u);  // COLORREF: red low
  EXPECT_EQ(K_GetNearestPaletteIndex(bitmap.get(), 0x7F7F7F), 1u);  // the first of two
  EXPECT_EQ(K_GetNearestPaletteIndex(nullptr, 0), 0u);
  // Without a palette the system is asked with a null handle.
  TestBitmap bare(8, 256);
  const uint32_t refused = kest::test::RunningUnderWine() ? 0 : os::kClrInvalid;
  EXPECT_EQ(K_GetNearestPaletteIndex(bare.get(), 0x7F7F7F), refused);
}

TEST(SystemPalette, OnlyWhereTheScreenHasOne) {
  const os::ScreenPaletteCaps caps = os::GetScreenPaletteCaps();
  HPALETTE system = K_CreateSystemPalette();
  RGBQUAD ends[16];
  std::memset(ends, 0x5A, sizeof ends);
  const uint32_t placed = kest::GetSystemStaticColors(ends, 16);
  if (!caps.hasPalette) {
    // True colour screens (Wine's, and the stand-alone device) have none.
    EXPECT_EQ(system, nullptr);
    EXPECT_EQ(placed, 0u);
    EXPECT_EQ(ends[0].rgbRed, 0x5A);
    return;
  }
  ASSERT_NE(system, nullptr);
  EXPECT_EQ(K_GetPaletteSize(system), caps.size);
  EXPECT_EQ(placed, std::min(caps.reserved, 16u));
  os::DeleteObject(system);
}

TEST(SystemPalette, StaticColoursGoHalfToEachEnd) {
  PALETTEENTRY system[256];
  for (int i = 0; i < 256; ++i) system[i] = PALETTEENTRY{static_cast<uint8_t>(i), 0, 0, 0x01};
  struct Case {
    uint32_t reserved, count, placed, head;
  };
  const Case cases[] = {{20, 256, 20, 10}, {20, 16, 16, 8}, {20, 5, 5, 2}, {0, 16, 0, 0}};
  for (const Case &c : cases) {
    std::vector<RGBQUAD> palette(c.count, Quad(0x00AA00));
    EXPECT_EQ(kest::PlaceStaticColors(system, 256, c.reserved, palette.data(), c.count), c.placed);
    const uint32_t tail = c.placed - c.head;
    for (uint32_t i = 0; i < c.count; ++i) {
      uint32_t expected = 0x00AA00;  // left alone
      if (i < c.head) expected = i << 16;
      if (i >= c.count - tail) expected = (256 - c.count + i) << 16;
      EXPECT_EQ(kest::test::Rrggbb(palette[i]), expected) << c.count << ": " << i;
      EXPECT_EQ(palette[i].rgbReserved, 0);
    }
  }
}

}  // namespace
