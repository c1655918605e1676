// The dialog in which the user picks a file. A host that has one of its own installs it.
#pragma once

#include <lmimport/Types.h>

#include <memory>

namespace lmimport {

/// A dialog that remembers a folder between its uses.
class LMIMPORT_API FileSelector {
 public:
  virtual ~FileSelector() = default;

  virtual void SetOwnerWindow(Long Window) = 0;  // the window above which it is shown; 0: none
  virtual String LastPath() const = 0;           // its folder; after a dialog, that of the file
  virtual void SetLastPath(const String& Path) = 0;
  virtual void SetFilter(const String& Filter) = 0;  // "title|patterns|title|patterns", each
                                                     // list of patterns separated by ";"
  virtual String SelectedFile() const = 0;           // what the user chose

  /// Shows the dialog and waits; true if the user chose a file.
  virtual bool Show() = 0;
};

/// Sets the selector of this thread, and hands it DefaultPath, if there is one, as its folder.
/// Without one, or with an empty pointer, the desktop's own dialog serves, where zenity or kdialog
/// is installed; on a machine without a screen nothing is shown and nothing is chosen.
LMIMPORT_API void SetFileSelector(std::shared_ptr<FileSelector> Selector);

}  // namespace lmimport
