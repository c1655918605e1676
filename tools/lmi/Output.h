// Standard output, watched: a reader that has gone ends the command quietly, a full disk with a
// message. Neither is a fault of the current recording, so neither is a std::exception.
#pragma once

#include <fmt/core.h>

#include <string>
#include <string_view>

namespace lmi {

struct OutputClosed {};  // the other end of the pipe has gone

struct OutputFailed {
  std::string Reason;
};

void Write(const void* data, std::size_t size);
void Flush();

template <class... Arguments>
void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  const std::string text = fmt::format(format, std::forward<Arguments>(arguments)...);
  Write(text.data(), text.size());
}

}  // namespace lmi
