#include <biosig.h>

#include <stdexcept>

#include "Peers.h"

namespace lmimport::bench {

double BiosigReadAll(const std::string& name) {
  HDRTYPE* header = sopen(name.c_str(), "r", nullptr);
  if (header == nullptr || serror2(header) != 0)
    throw std::runtime_error("libbiosig can't open " + name);
  sread(nullptr, 0, static_cast<std::size_t>(header->NRec), header);
  const std::size_t count = header->data.size[0] * header->data.size[1];
  const double sum = count > 0 ? header->data.block[0] + header->data.block[count - 1] : 0;
  sclose(header);
  destructHDR(header);
  return sum;
}

}  // namespace lmimport::bench
