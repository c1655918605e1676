#include <biosig.h>

#include <stdexcept>

#include "Output.h"
#include "Peers.h"

namespace lmimport::bench {

double BiosigReadDoubles(const std::string& name) {
  HDRTYPE* header = sopen(name.c_str(), "r", nullptr);
  if (header == nullptr || serror2(header) != 0)
    throw std::runtime_error("libbiosig can't open " + name);
  const auto records = static_cast<std::size_t>(header->NRec);
  if (sread(nullptr, 0, records, header) != records)
    throw std::runtime_error("libbiosig reads too little");
  const double sum = Sum(std::span<const biosig_data_type>(
      header->data.block, header->data.size[0] * header->data.size[1]));
  sclose(header);
  destructHDR(header);
  return sum;
}

}  // namespace lmimport::bench
