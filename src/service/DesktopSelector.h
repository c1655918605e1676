// The selector of a thread whose host has installed none: the desktop's own dialog.
#pragma once

#include <lmimport/FileSelector.h>

namespace lmimport {

/// Begins without a folder, so the dialog begins wherever the desktop likes.
std::shared_ptr<FileSelector> MakeDesktopSelector();

}  // namespace lmimport
