#include "service/StartUp.h"

#include <string_view>

namespace lmimport {
namespace {

using platform::ClassesRoot;
using platform::LocalMachine;

// Of the class LMImport; its CLSID and its AppID alike.
constexpr std::u16string_view ClassId = u"{6E0B7C52-4B0E-4C0B-9C59-2F1D3A8E5B41}";

std::u16string KeyOfClass(std::u16string_view folder) {
  return std::u16string(folder).append(ClassId);
}

void NameSurrogate(platform::RegistryTools& registry, long root, const std::u16string& key) {
  if (!registry.KeyExists(root, key)) registry.CreateKey(root, key);
  registry.SetStringValue(root, key, u"DllSurrogate", u"");
}

}  // namespace

void Main(platform::RegistryTools& registry) {
  if (!registry.KeyExists(ClassesRoot, u"Wow6432Node\\CLSID")) return;
  registry.SetStringValue(ClassesRoot, KeyOfClass(u"Wow6432Node\\CLSID\\"), u"AppID",
                          std::u16string(ClassId));
  NameSurrogate(registry, ClassesRoot, KeyOfClass(u"Wow6432Node\\AppID\\"));
  NameSurrogate(registry, LocalMachine, KeyOfClass(u"Software\\Classes\\AppID\\"));
}

}  // namespace lmimport
