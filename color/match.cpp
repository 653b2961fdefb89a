// Colour matching: K_FindPaletteIndex, the library's nearest-colour rule,
// and K_CreateUserMatchTable / K_FreeUserMatchTable, the 32,768-cell table
// that dithering matches through.
//
// The table holds, for every cell, exactly what the matcher gives for the
// cell's probe colour. Filling it by calling the matcher 32,768 times costs
// one pass over the palette per cell. The fast fill gets the same answers
// by splitting the cube of cells into blocks, eight at a time, and keeping
// for each block only its candidates: an entry whose nearest approach to a
// block is farther than some other entry's farthest point from it can never
// be the nearest, nor tie with the nearest, for any cell of the block, so
// leaving it out changes no answer. A block with one candidate is filled
// with it; a block of 4 x 4 x 4 cells is worked out cell by cell from its
// candidates, kept in palette order under the matcher's tie rule, so ties
// and repeated entries come out as the matcher has them.
#include "color/match.h"

#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "kest/palette.h"
#include "kest/status.h"

namespace kest {
namespace {

constexpr uint32_t kLevels = 32;   // five-bit levels of a channel
constexpr uint32_t kLeafSide = 4;  // blocks of this side are worked out cell by cell
constexpr uint32_t kDepths = 4;    // block sides 32, 16, 8, 4
// Above this many entries the working memory of the fast fill grows large;
// such palettes only come from gray look-up tables, which never build a
// match table, and take the plain fill.
constexpr uint32_t kFastFillMaxEntries = 65536;

uint32_t Square(int32_t difference) {
  // Held unsigned: a square of any 32-bit difference wraps, never traps.
  const auto d = static_cast<uint32_t>(difference);
  return d * d;
}

bool IsBlack(const RGBQUAD &entry) {
  return entry.rgbRed == 0 && entry.rgbGreen == 0 && entry.rgbBlue == 0;
}
bool IsWhite(const RGBQUAD &entry) {
  return entry.rgbRed == 255 && entry.rgbGreen == 255 && entry.rgbBlue == 255;
}

// Candidates of a block, field by field so that the loops over them
// vectorise: channels, channel-order class and palette index.
struct Candidates {
  int32_t *red, *green, *blue, *order;
  uint32_t *index;
};

// The probe levels a block spans along one channel. Both distances are
// worked out without branches: a block's candidates pass through here by
// the thousand, and which side of the span a value lies cannot be guessed.
struct Span {
  int32_t low, high;
  Span(uint32_t first, uint32_t side)
      : low(ProbeLevel(first)), high(ProbeLevel(first + side - 1)) {}
  // Squared distance to the nearest probe level, or less: a value inside the
  // span counts as 0 away.
  int32_t Nearest(int32_t value) const {
    const int32_t gap = std::max(low - value, 0) + std::max(value - high, 0);
    return gap * gap;
  }
  // Squared distance to the farthest probe level, one of the ends.
  int32_t Farthest(int32_t value) const {
    return std::max((value - low) * (value - low), (high - value) * (high - value));
  }
};

struct Block {
  uint32_t red, green, blue;  // first level along each channel
  uint32_t side;              // levels along each side
};

// Four 32-bit lanes, one per cell of a leaf row along blue. Distances stay
// below 2^18, so signed lanes hold them.
using Lanes = int32_t __attribute__((vector_size(16)));
static_assert(sizeof(Lanes) == kLeafSide * sizeof(int32_t));

struct FastFill {
  Candidates lists[kDepths];  // room for every entry at each depth
  int32_t *squares;           // per candidate of a leaf, 3 x kLeafSide channel squares
  uint32_t *table;

  void Fill(const Candidates &parent, uint32_t parentSize, const Block &block,
            uint32_t depth) const;
  void FillWith(uint32_t index, const Block &block) const;
  void Scan(const Candidates &c, uint32_t size, const Block &block) const;
};

// Keeps of the parent's candidates those that can be nearest, or tie with
// the nearest, for some cell of the block, then fills the block, splits it
// in eight, or works it out cell by cell.
void FastFill::Fill(const Candidates &parent, uint32_t parentSize, const Block &block,
                    uint32_t depth) const {
  const Span red(block.red, block.side), green(block.green, block.side),
      blue(block.blue, block.side);
  int32_t reach = INT32_MAX;  // no cell of the block is farther than this from its nearest
  for (uint32_t k = 0; k < parentSize; ++k) {
    reach = std::min(reach, red.Farthest(parent.red[k]) + green.Farthest(parent.green[k]) +
                                blue.Farthest(parent.blue[k]));
  }
  const Candidates &list = lists[depth];
  uint32_t size = 0;
  for (uint32_t k = 0; k < parentSize; ++k) {
    // Each candidate is written and then kept by counting it, or not.
    list.red[size] = parent.red[k];
    list.green[size] = parent.green[k];
    list.blue[size] = parent.blue[k];
    list.order[size] = parent.order[k];
    list.index[size] = parent.index[k];
    const int32_t nearest =
        red.Nearest(parent.red[k]) + green.Nearest(parent.green[k]) + blue.Nearest(parent.blue[k]);
    size += nearest <= reach ? 1 : 0;
  }
  if (size == 1) {
    FillWith(list.index[0], block);
  } else if (block.side > kLeafSide) {
    const uint32_t half = block.side / 2;
    for (uint32_t child = 0; child < 8; ++child) {
      const Block part{block.red + ((child >> 2) & 1) * half,
                       block.green + ((child >> 1) & 1) * half, block.blue + (child & 1) * half,
                       half};
      Fill(list, size, part, depth + 1);
    }
  } else {
    Scan(list, size, block);
  }
}

// A block with a single candidate: it is every cell's nearest, and alone.
void FastFill::FillWith(uint32_t index, const Block &block) const {
  for (uint32_t r = block.red; r < block.red + block.side; ++r) {
    for (uint32_t g = block.green; g < block.green + block.side; ++g) {
      uint32_t *row = table + (r << 10) + (g << 5) + block.blue;
      for (uint32_t b = 0; b < block.side; ++b) row[b] = index + 1;
    }
  }
}

// The matcher's answer for each cell of a leaf block from its candidates,
// which are in palette order: the smallest distance; then, of the entries
// at that distance, the first if it is 0 (the matcher stops there), else the
// last one of the cell's channel-order class, else the first. A distance is
// a sum of three per-channel squares worked out once per block, and the
// four cells of a row along blue are worked at once, in the lanes of a
// vector, without branches on the data.
void FastFill::Scan(const Candidates &c, uint32_t size, const Block &block) const {
  constexpr uint32_t S = kLeafSide;
  int32_t *redSquares = squares, *greenSquares = squares + S * size,
          *blueSquares = squares + 2 * S * size;
  for (uint32_t k = 0; k < size; ++k) {
    for (uint32_t j = 0; j < S; ++j) {
      redSquares[k * S + j] = static_cast<int32_t>(Square(c.red[k] - ProbeLevel(block.red + j)));
      greenSquares[k * S + j] =
          static_cast<int32_t>(Square(c.green[k] - ProbeLevel(block.green + j)));
      blueSquares[k * S + j] =
          static_cast<int32_t>(Square(c.blue[k] - ProbeLevel(block.blue + j)));
    }
  }
  auto blueLanes = [blueSquares](uint32_t k) {
    Lanes lanes;
    std::memcpy(&lanes, blueSquares + k * S, sizeof lanes);
    return lanes;
  };
  const Lanes none = Lanes{} + INT32_MAX;
  for (uint32_t i = 0; i < S; ++i) {
    for (uint32_t j = 0; j < S; ++j) {
      Lanes targetOrder;
      for (uint32_t l = 0; l < S; ++l) {
        targetOrder[l] = static_cast<int32_t>(ChannelOrderClass(
            ProbeLevel(block.red + i), ProbeLevel(block.green + j), ProbeLevel(block.blue + l)));
      }
      Lanes best = none;
      for (uint32_t k = 0; k < size; ++k) {
        const Lanes distance = blueLanes(k) + (redSquares[k * S + i] + greenSquares[k * S + j]);
        best = distance < best ? distance : best;
      }
      Lanes first = none, lastOfClassPlusOne = Lanes{};
      for (uint32_t k = 0; k < size; ++k) {
        const Lanes distance = blueLanes(k) + (redSquares[k * S + i] + greenSquares[k * S + j]);
        const Lanes tie = distance == best;
        first = (tie & (first == none)) ? Lanes{} + static_cast<int32_t>(k) : first;
        const Lanes ofClass = tie & (targetOrder == c.order[k]);
        lastOfClassPlusOne = ofClass ? Lanes{} + static_cast<int32_t>(k + 1) : lastOfClassPlusOne;
      }
      uint32_t *row = table + ((block.red + i) << 10) + ((block.green + j) << 5) + block.blue;
      for (uint32_t l = 0; l < S; ++l) {
        const bool takeFirst = best[l] == 0 || lastOfClassPlusOne[l] == 0;
        row[l] = c.index[takeFirst ? first[l] : lastOfClassPlusOne[l] - 1] + 1;
      }
    }
  }
}

}  // namespace

int32_t FindPaletteIndex(const RGBQUAD *palette, uint32_t count, int32_t red, int32_t green,
                         int32_t blue) {
  if (count == 0) return -1;
  // The short cuts favour index 0 for black and the last index for white,
  // where a palette holds the colour at both ends.
  if (red == 0 && green == 0 && blue == 0) {
    if (IsBlack(palette[0])) return 0;
    if (IsBlack(palette[count - 1])) return static_cast<int32_t>(count - 1);
  } else if ((red & green & blue) == 255) {
    if (IsWhite(palette[count - 1])) return static_cast<int32_t>(count - 1);
    if (IsWhite(palette[0])) return 0;
  }
  const uint32_t targetOrder = ChannelOrderClass(red, green, blue);
  uint32_t best = UINT32_MAX;
  int32_t bestIndex = -1;
  for (uint32_t i = 0; i < count && best != 0; ++i) {
    const RGBQUAD &entry = palette[i];
    const uint32_t distance =
        Square(entry.rgbRed - red) + Square(entry.rgbGreen - green) + Square(entry.rgbBlue - blue);
    if (distance < best) {
      best = distance;
      bestIndex = static_cast<int32_t>(i);
    } else if (distance == best &&
               ChannelOrderClass(entry.rgbRed, entry.rgbGreen, entry.rgbBlue) == targetOrder) {
      bestIndex = static_cast<int32_t>(i);
    }
  }
  return bestIndex;
}

void FillMatchTablePlain(const RGBQUAD *palette, uint32_t count, uint32_t *table) {
  for (uint32_t cell = 0; cell < kMatchTableCells; ++cell) {
    const int32_t index = FindPaletteIndex(palette, count, ProbeLevel((cell >> 10) & 31),
                                           ProbeLevel((cell >> 5) & 31), ProbeLevel(cell & 31));
    table[cell] = static_cast<uint32_t>(index + 1);
  }
}

bool FillMatchTable(const RGBQUAD *palette, uint32_t count, uint32_t *table) {
  if (count == 0) {
    std::memset(table, 0, kMatchTableCells * sizeof(uint32_t));  // no index, all cells 0
    return true;
  }
  if (count > kFastFillMaxEntries) {
    FillMatchTablePlain(palette, count, table);
    return true;
  }
  // Every entry as the first list, a list per depth below it, and the
  // channel squares of a leaf.
  constexpr uint32_t kWordsPerEntry = 5 * (1 + kDepths) + 3 * kLeafSide;
  HeapBuffer scratch(count * kWordsPerEntry * sizeof(uint32_t));
  if (!scratch) return false;
  auto *words = reinterpret_cast<int32_t *>(scratch.get());
  auto list = [&words, count]() {
    Candidates c{words, words + count, words + 2 * count, words + 3 * count,
                 reinterpret_cast<uint32_t *>(words + 4 * count)};
    words += 5 * count;
    return c;
  };
  const Candidates all = list();
  for (uint32_t i = 0; i < count; ++i) {
    const RGBQUAD &p = palette[i];
    all.red[i] = p.rgbRed;
    all.green[i] = p.rgbGreen;
    all.blue[i] = p.rgbBlue;
    all.order[i] = static_cast<int32_t>(ChannelOrderClass(p.rgbRed, p.rgbGreen, p.rgbBlue));
    all.index[i] = i;
  }
  FastFill fill{};
  for (Candidates &depth : fill.lists) depth = list();
  fill.squares = words;
  fill.table = table;
  fill.Fill(all, count, Block{0, 0, 0, kLevels}, 0);
  // Cell 0 probes black, where the matcher's short cuts come before the scan.
  // No other probe is black, and none is white, since no probe level
  // exceeds 248.
  table[0] = static_cast<uint32_t>(FindPaletteIndex(palette, count, 0, 0, 0) + 1);
  return true;
}

}  // namespace kest

KEST_API int32_t K_FindPaletteIndex(const RGBQUAD *palette, uint32_t count, int32_t red,
                                    int32_t green, int32_t blue) {
  if (palette == nullptr) return 0;
  return kest::FindPaletteIndex(palette, count, red, green, blue);
}

KEST_API uint32_t *K_CreateUserMatchTable(const RGBQUAD *palette, uint32_t count) {
  if (palette == nullptr) return nullptr;
  auto *table = static_cast<uint32_t *>(K_Malloc(kest::kMatchTableCells * sizeof(uint32_t)));
  if (table == nullptr) return nullptr;
  if (!kest::FillMatchTable(palette, count, table)) {
    K_Free(table);
    return nullptr;
  }
  return table;
}

KEST_API int32_t K_FreeUserMatchTable(uint32_t *table) {
  K_Free(table);
  return K_SUCCESS;
}
