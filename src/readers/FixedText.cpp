#include "readers/FixedText.h"

namespace lmimport {

String FixedText(const TextTools& texts, std::span<const Byte> Field) {
  return TrimBlanks(texts.TextFromBytes(Field));
}

}  // namespace lmimport
