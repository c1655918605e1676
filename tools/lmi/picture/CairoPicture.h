// A picture in a file.
#pragma once

#include <filesystem>
#include <string>

#include "picture/Picture.h"

namespace lmi {

struct CairoStyle {
  double Width = 1200;    // pixels, or points of an SVG or PDF
  double LaneHeight = 0;  // 0: by the number of lanes
};

/// Columns of the part that shows samples.
std::size_t CairoColumns(const CairoStyle& style);

/// By the ending of `kind`: ".png", ".svg" or ".pdf". Throws std::runtime_error where the file
/// can't be written.
void DrawPicture(const Picture& picture, const CairoStyle& style, const std::string& kind,
                 const std::filesystem::path& file);

}  // namespace lmi
