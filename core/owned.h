// Blocks a record owns whose structure belongs to a higher layer: the
// region and the overlay list. The core cannot call those layers, so each
// installs its release function here when the library loads; a layer that
// is absent can have made no such block.
#pragma once

namespace kest {

using BlockReleaser = void (*)(void *block);

void SetRegionReleaser(BlockReleaser releaser);
void SetOverlayReleaser(BlockReleaser releaser);

// Release the block, if any, and null the field.
void ReleaseRegion(void *&region);
void ReleaseOverlays(void *&overlays);

}  // namespace kest
