// Texts of the interface are UTF-16; these bring them from and to UTF-8, and choose how the 8-bit
// texts of recordings are read.
#pragma once

#include <lmimport/Types.h>

#include <string>
#include <string_view>

namespace lmimport {

/// The text of UTF-8 bytes. A byte that belongs to no valid sequence becomes the lone surrogate
/// 0xDC00 + byte, and ToUtf8 turns it back, so any file name survives the way there and back.
LMIMPORT_API String FromUtf8(std::string_view bytes);

/// The UTF-8 bytes of a text. Other lone surrogates give U+FFFD.
LMIMPORT_API std::string ToUtf8(std::u16string_view text);

/// The code page by which this thread reads the 8-bit texts of files from the next open on: 1250 to
/// 1258, 874, or 65001 for UTF-8; 0 is the page of the system's language, with which a thread
/// starts. A byte that a page leaves undefined keeps its own number as a character. Throws
/// std::invalid_argument for any other number, and the page stays as it was.
LMIMPORT_API void SetCodePage(int Number);

}  // namespace lmimport
