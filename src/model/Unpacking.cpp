#include "model/Unpacking.h"

#include <algorithm>
#include <cstring>

#include "model/Inflate.h"
#include "model/TemporaryFile.h"

namespace lmimport {

InflatedHead::InflatedHead(const ByteSource& source, std::int64_t position, std::int64_t packed,
                           std::int64_t start, std::size_t most)
    : bytes_(most) {
  Inflater inflater(source, position, packed);
  inflater.Skip(start);
  bytes_.resize(inflater.Read(bytes_));
}

std::size_t InflatedHead::ReadAt(std::int64_t position, std::span<std::byte> target) const {
  const std::int64_t there =
      std::max<std::int64_t>(0, Size() - std::max<std::int64_t>(0, position));
  const std::size_t size = std::min(target.size(), static_cast<std::size_t>(there));
  if (size > 0) std::memcpy(target.data(), bytes_.data() + position, size);
  return size;
}

std::int64_t Unpacking::Add(Part part) {
  part.Target = size_;
  size_ += part.Size;
  parts_.push_back(part);
  return part.Target;
}

std::int64_t Unpacking::AddPlain(std::int64_t position, std::int64_t size) {
  plainSize_ += size;
  return Add({position, false, 0, 0, size, 0});
}

std::int64_t Unpacking::AddPacked(std::int64_t position, std::int64_t packed, std::int64_t start,
                                  std::int64_t size) {
  anyPacked_ = true;
  return Add({position, true, packed, start, size, 0});
}

void Unpacking::Unpack(Opening& opening) const {
  constexpr std::int64_t pieceBytes = 1 << 20;
  // What streams stand for takes its room as it comes out of them: claims take none.
  const std::shared_ptr<FileSource> file = MakeTemporaryFile(plainSize_);
  if (size_ > 0) file->Resize(size_);
  const ByteSource& source = *opening.DataFile.Source();
  std::vector<std::byte> piece(static_cast<std::size_t>(std::min(pieceBytes, size_)));
  std::int64_t lacking = 0;
  for (const Part& part : parts_) {
    std::optional<Inflater> inflater;
    if (part.IsPacked) inflater.emplace(source, part.Position, part.Packed);
    std::int64_t done = 0;
    bool goesOn = !inflater || inflater->Skip(part.Start);
    while (goesOn && done < part.Size) {
      opening.Progress.Report(part.Target + done, size_);
      const auto wanted =
          std::span(piece).first(static_cast<std::size_t>(std::min(pieceBytes, part.Size - done)));
      const std::size_t read =
          inflater ? inflater->Read(wanted) : ReadSource(source, part.Position + done, wanted);
      file->WriteAt(part.Target + done, piece.data(), static_cast<std::int64_t>(read));
      done += static_cast<std::int64_t>(read);
      goesOn = read == wanted.size();
    }
    if (done < part.Size) ++lacking;
  }
  if (lacking > 0)
    opening.Warn("data-cut-off", -1, "In ", lacking,
                 " compressed stretches not all samples are there, or the compression is damaged; "
                 "the rest reads as zeros.");
  opening.Store.DataFile = file;
}

}  // namespace lmimport
