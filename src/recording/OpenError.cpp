#include <lmimport/Recording.h>

#include <array>

namespace lmimport {
namespace {

class OpenCategory final : public std::error_category {
 public:
  const char* name() const noexcept override { return "lmimport"; }
  std::string message(int number) const override {
    constexpr std::array messages = {"unknown file format", "unsupported file format",
                                     "error in the file format", "no data in the file", "given up"};
    const auto index = static_cast<std::size_t>(number - 1);
    return index < messages.size() ? messages[index] : "unknown fault";
  }
};

}  // namespace

std::error_code make_error_code(OpenFault Fault) {
  static const OpenCategory category;
  return {static_cast<int>(Fault), category};
}

OpenError::OpenError(std::error_code Code, const std::string& Sentence,
                     std::vector<Finding> Findings)
    : std::system_error(Code),
      sentence_(std::make_shared<const std::string>(Sentence)),
      findings_(std::make_shared<const std::vector<Finding>>(std::move(Findings))) {}

}  // namespace lmimport
