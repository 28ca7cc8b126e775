// Scanner-filter pages worked through in bands of rows.
//
// The colour filters take page-sized scratch images per call, as they always
// have, but go through them a band of rows at a time: a band's planes stay in
// cache from split to join, and only a few bands' worth of each scratch image
// is ever touched. (The first touch of fresh pages costs more than the split,
// the join and a 3 x 3 filter together.) Every step is a per-pixel copy or a
// filter of a neighbourhood, so the bytes are those of the whole-page order.
#pragma once
#include <algorithm>
#include <cstdint>

#include "scanfilters/scratch.h"

namespace qm {

// A band writes page rows [y0, y1) and reads [lo, hi): `reach` rows more on
// either side where the page has them. Its rows sit in scratch from `base`
// on: the first and the last band, which hold the page's top and bottom
// `reach` rows, at their own rows; every band between at one place (page row
// y0 at scratch row reach). So no band writes the first or the last `reach`
// rows of an output plane outside its own rows, and a filtered plane's frame
// holds scratch content, as when the page went through whole.
struct Band {
    int y0, y1, lo, hi;
    int base;

    ptrdiff_t row(int y) const { return ptrdiff_t{y} - y0 + base; }
    // The rows a filter of radius r writes in this band: those at least r
    // rows from the page's edges.
    int first(int r) const { return std::max(y0, r); }
    int end(int r, int height) const { return static_cast<int>(std::min<int64_t>(y1, int64_t{height} - r)); }
};

// About 128 KB of planes per band (17 rows of an A4 page), so that a band's
// planes in and out and its rows of the page stay in the second-level cache
// while little scratch is touched; larger bands measured slower.
inline constexpr int64_t kBandBytes = 128 * 1024;
inline constexpr int64_t kMinBandRows = 16;

template <class F>
void for_each_band(int width, int height, int64_t reach, F f) {
    const int64_t rows = std::max(kMinBandRows, kBandBytes / (3 * int64_t{width}));
    const int64_t edge = std::max(rows, reach);  // rows of the first and of the last band
    if (height < 2 * edge || height < rows + 2 * reach) {
        f(Band{0, height, 0, height, 0});
        return;
    }
    auto band = [&](int64_t y0, int64_t y1, int64_t base) {
        f(Band{static_cast<int>(y0), static_cast<int>(y1), static_cast<int>(std::max<int64_t>(0, y0 - reach)),
               static_cast<int>(std::min<int64_t>(height, y1 + reach)), static_cast<int>(base)});
    };
    band(0, edge, 0);
    for (int64_t y0 = edge; y0 < height - edge; y0 += rows) band(y0, std::min(y0 + rows, height - edge), reach);
    band(height - edge, height, height - edge);
}

// Split, filter(band), join, band after band: the page src through the
// planes of `in`, filtered into those of `out`, back into dst.
template <class Filter>
void through_bands(const Ipp8u* src, Ipp8u* dst, int height, const PlaneScratch& in, const PlaneScratch& out,
                   int64_t reach, Filter filter) {
    for_each_band(in.width, height, reach, [&](const Band& b) {
        split_rows(src, in, b.lo, b.hi, b.row(b.lo));
        filter(b);
        join_rows(out, b.row(b.y0), dst, b.y0, b.y1);
    });
}

}  // namespace qm
