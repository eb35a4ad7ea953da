// The coverage of a stroke: for each pixel of an area, the share of it the
// stroke covers (0 to 255), as cairo's rasteriser works it out, made in an
// 8-bit scratch surface of the context's own.
//
// A stroke in one opaque colour leaves each pixel as the colour and the
// pixel mixed by that share, so a context can stroke into a world without
// handing the world to cairo. The coverage is kept with everything it was
// made from, and a stroke repeated exactly (the sprite engine's pen strokes
// its thinnest lines twice) is not rasterised again.
#ifndef SPRIG_PLATFORM_CG_COVERAGE_P_H
#define SPRIG_PLATFORM_CG_COVERAGE_P_H

#include <cairo.h>

#include <cstdint>
#include <vector>

class StrokeCoverage
{
  public:
    StrokeCoverage() = default;
    StrokeCoverage(const StrokeCoverage&) = delete;
    StrokeCoverage& operator=(const StrokeCoverage&) = delete;
    ~StrokeCoverage();

    // The coverage of cr's current path stroked in cr's state over the
    // device pixels x1 <= x < x2, y1 <= y < y2 (x1 and y1 at least 0): the
    // byte of pixel (x1, y1), rows stride bytes apart; null when it cannot
    // be made. cr's path is left as it is.
    const uint8_t* Make(cairo_t* cr, int x1, int y1, int x2, int y2, int* stride);

  private:
    // What a coverage is made from, besides the path.
    struct Stroke
    {
        cairo_matrix_t matrix;
        double lineWidth;
        double miterLimit;
        double tolerance;
        double dashOffset;
        cairo_line_cap_t cap;
        cairo_line_join_t join;
        cairo_antialias_t antialias;
        int x1, y1, x2, y2;
    };

    bool Reserve(int width, int height);
    void Apply(const Stroke& stroke, const std::vector<double>& dash);

    cairo_surface_t* mSurface = nullptr;
    cairo_t* mCr = nullptr;
    // The stroke state last set on the scratch context (when mApplied) and,
    // when mKept, the coverage in the scratch is that of this state and path.
    bool mApplied = false;
    bool mKept = false;
    Stroke mStroke = {};
    std::vector<double> mDash;
    std::vector<cairo_path_data_t> mPath;
};

#endif
