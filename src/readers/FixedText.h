// A text field of fixed width.
#pragma once

#include <span>

#include "model/TextTools.h"

namespace lmimport {

/// The field by the code page of file texts, cut at the first zero byte, without the blanks at both
/// ends.
String FixedText(const TextTools& texts, std::span<const Byte> Field);

}  // namespace lmimport
