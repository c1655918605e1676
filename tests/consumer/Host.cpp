#include <lmimport/lmimport.h>

#include <iostream>

int main(int, char** argv) try {
  lmimport::LMImport import;
  const lmimport::LMIFilePtr file = import.OpenFileObject(lmimport::FromUtf8(argv[1]));
  if (!file) {
    std::cerr << lmimport::ToUtf8(import.ErrorString()) << '\n';
    return 1;
  }
  const lmimport::LMIBlockPtr block = file->Block(1);
  std::vector<double> values;
  block->GetChannelDoubleArray(1, 1, 5, values);
  std::cout << lmimport::ToUtf8(block->ChannelTitle(1)) << ':';
  for (const double value : values) std::cout << ' ' << value;
  std::cout << '\n';
} catch (const std::exception& fault) {
  std::cerr << fault.what() << '\n';
  return 1;
}
