#include <fstream>

#include "support/DemoRecording.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::ofstream file(std::string(argv[1]) + "/demo.lmc", std::ios::binary);
  file << lmimport::test::DemoRecording();
  return file.flush() ? 0 : 1;
}
