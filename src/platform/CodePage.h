// The 8-bit code pages of the Windows family.
#pragma once

namespace lmimport::platform {

/// The 128 characters of the bytes 0x80 to 0xFF in page 1250 to 1258 or 874; null for any other
/// number. The bytes below 0x80 are ASCII in all of them.
const char16_t* UpperHalfOfCodePage(int number);

}  // namespace lmimport::platform
