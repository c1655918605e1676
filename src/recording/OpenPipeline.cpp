#include "recording/OpenPipeline.h"

#include <algorithm>

#include "converters/FlatDataFile.h"
#include "recording/Formats.h"
#include "recording/GeneralFindings.h"

namespace lmimport {
namespace {

// What nobody claims is raw data, but not where its first bytes are those of another format.
void RefuseOtherFormats(Opening& opening) {
  std::array<char, 16> bytes{};
  opening.DataFile.Seek(0);
  const std::int64_t done = opening.DataFile.ReadBytes(bytes.data(), std::ssize(bytes));
  const std::string_view head(bytes.data(), static_cast<std::size_t>(done));
  if (BeginsLikeUnread(head, opening.Rules.As))
    Refuse(Refusal::UnsupportedFormat, BeginsLikeDocument(head) ? "no-recording" : "not-of-format",
           0, "The file is no raw data.");
}

void ReadRecording(Opening& opening) {
  opening.Store.FileSize = opening.DataFile.Size();
  opening.NeedBytes(sizeof(opening.Magic), "any recording");
  opening.DataFile.Seek(0);
  opening.DataFile.ReadInt32Array(&opening.Magic, 1);
  const std::string_view head(reinterpret_cast<const char*>(&opening.Magic), sizeof(opening.Magic));
  const Format& format = RecogniseFormat(head, opening.Store.FileName, opening.Rules.As);
  opening.Store.Format = format.Id;
  opening.Store.FileType = format.FileType;
  opening.Store.DataFile = opening.DataFile.Source();
  if (opening.IsPublished() && format.Id == "raw") RefuseOtherFormats(opening);
  format.Read(opening);
  for (const BlockRec& block : opening.Store.Blocks) {
    Opening::CheckNumbers(block);
    opening.Store.Channel(std::ranges::max(block.ChannelIndex));
  }
}

}  // namespace

void OpenRecordingFile(Opening& opening, const String& name) {
  BinaryFile& file = opening.DataFile;
  const bool keeps = opening.Rules.KeepsFlatFile && MayBeRewritten(name);
  if (keeps) opening.Folder.Open(ToUtf8(PathTools::FolderOf(name)));
  if (file.Open(name, ShareReadingAndWriting,
                opening.Folder.IsOpen() ? &opening.Folder : nullptr)) {
    opening.Store.FileName = file.File()->PathName();
    return;
  }
  const std::string reason = ToUtf8(file.LastError());
  opening.Warn("not-opened", -1, reason);
  throw RefusedOpen{Refusal::SystemFault, "not-opened", -1, reason, {}, file.SystemError()};
}

void FillStore(Opening& opening) {
  try {
    NoteWhyItFails(opening, [&] {
      ReadRecording(opening);
      NoteGeneralFindings(opening);
      if (!opening.Store.Work(Later::Comments)) NoteCommentsPastEnd(opening);
      NoteUnreadFormat(opening, true);
    });
  } catch (const RefusedOpen& refused) {
    if (!refused.Error) NoteUnreadFormat(opening, false);
    throw;
  }
}

void NoteWhyItFails(Opening& opening, const std::function<void()>& work) {
  try {
    work();
  } catch (const RefusedOpen& refused) {
    opening.Warn(refused.Code, refused.Position, refused.Text);
    throw;
  } catch (const std::system_error& fault) {
    const bool givenUp = fault.code() == std::errc::operation_canceled;
    const char* const code = givenUp                                   ? "given-up"
                             : FlatDataFile::MeansNoRoom(fault.code()) ? "no-room"
                                                                       : "not-readable";
    opening.Warn(code, -1, fault.what());
    throw;
  }
}

}  // namespace lmimport
