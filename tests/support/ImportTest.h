// What tests of readers share: a folder, an LMImport that speaks English, and the last file opened.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "service/ImportState.h"
#include "support/Builders.h"

namespace lmimport::test {

using Codes = std::vector<std::string>;

inline constexpr const char* Unknown = "Unknown file format";
inline constexpr const char* Unsupported = "Unsupported file format";
inline constexpr const char* Damaged = "Error in the file format";
inline constexpr const char* NoData = "No data in the file";

class ImportTest : public testing::Test {
 protected:
  /// Leaves no defaults to the next test of the thread.
  ~ImportTest() override {
    import_.SetFilterIndex(0);
    import_.SetDefaultChannelCount(1);
    import_.SetDefaultSamplingRate(FallbackSamplingRate);
    CurrentState().DefaultPath.clear();
    SetCodePage(0);
    SetReading(Reading::Written);
    SetProgressHandler({});
    SetFileSelector({});
  }

  bool Open(const std::string& name) { return import_.OpenFile(FromUtf8(name), file_); }

  /// Writes the bytes under a name of no folder, and opens them.
  bool Open(std::string_view name, std::string_view bytes) {
    return Open(folder_.Write(name, bytes));
  }

  std::string Error() const { return ToUtf8(import_.ErrorString()); }

  static bool IsFound(std::string_view code) {
    return std::ranges::count(Findings(), code, &Finding::Code) > 0;
  }

  /// Without the notes that most made files have: no start, no rate, and channels of several rates.
  static Codes FindingCodes() { return CodesOf(Findings()); }
  static Codes CodesOf(const std::vector<Finding>& findings) {
    Codes codes;
    for (const Finding& finding : findings) {
      if (finding.Code != "start-of-file" && finding.Code != "rates-raised" &&
          finding.Code != "rate-by-default")
        codes.emplace_back(finding.Code);
    }
    return codes;
  }

  /// The block as words: "Sound '8 kHz' 8000 Hz, 3 frames of: a [V] 0.5 n + 0, b [] 1 n + 2".
  static std::string Summary(const LMIBlock& block) {
    std::ostringstream text;
    text << ToUtf8(block.ADCName()) << " '" << ToUtf8(block.Title()) << "' " << block.SamplingRate()
         << " Hz, " << block.SizeChannel() << " frames of:";
    for (Integer i = 1; i <= block.ChannelCount(); ++i)
      text << (i > 1 ? ", " : " ") << ToUtf8(block.ChannelTitle(i)) << " ["
           << ToUtf8(block.ChannelUnitName(i)) << "] " << block.ChannelDoubleA(i) << " n + "
           << block.ChannelDoubleB(i);
    return text.str();
  }
  std::string Summary() { return Summary(*file_->Block(1)); }

  /// "2 begin, 5 end"
  std::string Comments() {
    const LMIBlock& block = *file_->Block(1);
    std::string text;
    for (Long i = 1; i <= block.CommentCount(); ++i)
      text += (i > 1 ? ", " : "") + std::to_string(block.CommentPosition(i)) + " " +
              ToUtf8(block.CommentText(i));
    return text;
  }

  /// All frames, channel fastest.
  std::vector<Double> Values() {
    SampleTable<Double> frames;
    file_->Block(1)->GetDataDoubleArray(1, file_->Block(1)->SizeChannel(), frames);
    return {frames.Values().begin(), frames.Values().end()};
  }

  /// The codes of a refusal with the message.
  static Codes UsualCodes(const std::string& error) {
    if (error == Unknown) return {"not-of-format"};
    if (error == Damaged) return {"damaged"};
    if (error == NoData) return {"no-data"};
    return error.empty() ? Codes{} : Codes{"coding-not-read"};
  }

  /// Opens each file under the name, and expects the message; where there is none, that it opens.
  struct Outcome {
    std::string Bytes;
    const char* Error;
    Codes Findings = {};
  };
  void ExpectOutcomes(const char* name, const std::vector<Outcome>& rows) {
    int number = 0;
    for (const Outcome& row : rows) {
      SCOPED_TRACE(++number);
      EXPECT_EQ(Open(name, row.Bytes), *row.Error == '\0');
      EXPECT_EQ(Error(), row.Error);
      EXPECT_EQ(FindingCodes(), row.Findings.empty() ? UsualCodes(row.Error) : row.Findings);
    }
  }

  /// FileType and FileSubType.
  std::pair<Long, Long> Type() const { return {file_->FileType(), file_->FileSubType()}; }

  TempFolder folder_;
  Environment english_{"LC_ALL", "C"};
  LMImport import_;
  LMIFilePtr file_;
};

}  // namespace lmimport::test
