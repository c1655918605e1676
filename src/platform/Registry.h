// The system's registry, of which only Windows has one: elsewhere no key exists.
#pragma once

#include <string>

namespace lmimport::platform {

inline constexpr long ClassesRoot = static_cast<long>(0x80000000);
inline constexpr long LocalMachine = static_cast<long>(0x80000002);

class RegistryTools {
 public:
  virtual ~RegistryTools() = default;
  virtual bool KeyExists(long /*Root*/, const std::u16string& /*Key*/) { return false; }
  virtual bool CreateKey(long /*Root*/, const std::u16string& /*Key*/) { return false; }

  /// Makes the key if it is missing.
  virtual bool SetStringValue(long /*Root*/, const std::u16string& /*Key*/,
                              const std::u16string& /*ValueName*/,
                              const std::u16string& /*Value*/) {
    return false;
  }
};

}  // namespace lmimport::platform
