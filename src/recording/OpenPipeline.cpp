#include "recording/OpenPipeline.h"

#include <algorithm>

#include "converters/FlatDataFile.h"
#include "recording/Formats.h"
#include "recording/GeneralFindings.h"

namespace lmimport {
namespace {

void ReadRecording(Opening& opening) {
  opening.Store.FileSize = opening.DataFile.Size();
  opening.NeedBytes(sizeof(opening.Magic), "any recording");
  opening.DataFile.Seek(0);
  opening.DataFile.ReadInt32Array(&opening.Magic, 1);
  const std::string_view head(reinterpret_cast<const char*>(&opening.Magic), sizeof(opening.Magic));
  const Format& format = RecogniseFormat(head, opening.Store.FileName);
  opening.Store.Format = format.Id;
  opening.Store.FileType = format.FileType;
  opening.Store.DataFile = opening.DataFile.Source();
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
  if (file.Open(name, ShareReadingAndWriting, opening.Folder.IsOpen() ? &opening.Folder : nullptr)) {
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
    const char* const code = givenUp                                ? "given-up"
                             : FlatDataFile::MeansNoRoom(fault.code()) ? "no-room"
                                                                    : "not-readable";
    opening.Warn(code, -1, fault.what());
    throw;
  }
}

}  // namespace lmimport
