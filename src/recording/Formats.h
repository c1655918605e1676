// The table of formats: what each is called and known by, and who reads it.
#pragma once

#include <span>
#include <string_view>

#include "model/Opening.h"

namespace lmimport {

// In the order in which a row of the table reads best.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct Format {
  std::string_view Id = {};  // short and stable; of one that is not read, none
  std::string_view Name;     // as a user of the instrument knows it
  Long FileType = 0;         // its number in the interface; formats of one family share it
  // Of the family, in its first row: how a host's file dialog shows it.
  std::string_view FilterTitle;
  std::string_view Patterns;  // separated by ";"
  // What it is known by: one of these, or the end of the file's name in lower case.
  std::array<std::string_view, 3> FirstBytes;
  std::u16string_view Extension;
  void (*Read)(Opening&);
  bool IsRewritten = false;  // as written, where its samples are no frames
  bool InPublishedAlone = false;
};

/// The formats that are read, in the order in which they are tried; the last takes everything.
std::span<const Format> ReadFormats();

/// Null where none has that id.
const Format* FindFormat(std::string_view id);

/// First bytes and file name patterns of all rows of that id.
std::vector<std::string_view> MarksOf(std::string_view id);
std::string ExtensionsOf(std::string_view id);

/// The format that reads a file that begins with `head`, four bytes, and has that name.
const Format& RecogniseFormat(std::string_view head, const String& fileName, Reading as);

/// A file of that name may be of a format that is rewritten.
bool MayBeRewritten(const String& fileName);

/// "begins like HDF5", or "is named like gzip archive": what a file is that no reader is for. Empty
/// for what nothing is known of, and for what is read.
std::string KnownUnreadFormat(std::string_view head, const String& fileName, Reading as);

/// Its first bytes are those of such a format.
bool BeginsLikeUnread(std::string_view head, Reading as);

/// Of these, a picture, a printed page or an archive, in which nobody records.
bool BeginsLikeDocument(std::string_view head);

}  // namespace lmimport
