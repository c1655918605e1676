// How the command writes texts, dates, findings and failures.
#pragma once

#include <lmimport/Recording.h>

#include <string>
#include <string_view>

namespace lmi {

/// "1990-08-10T15:45:35.000", to the millisecond, with `between` in the place of the T; empty for a
/// Date that is not in the years 1 to 9999, and for 0, which means none.
std::string DateText(lmimport::Date date, char between);

/// "1990-08-10T15:45:35.001", so long after the date; with the digits that a step of so many seconds
/// needs, 3 at least.
std::string ClockText(lmimport::Date start, double seconds, double step);

/// The frame of a block that a comment is at, from 0; 0 where the block has no rate.
std::int64_t FrameOf(const lmimport::Block& block, const lmimport::Comment& comment);

/// "3.520 s" for so many frames; "-" where the rate gives none.
std::string SecondsText(double frames, double rate);

/// UTF-8 text on one line that can't disturb a terminal: control characters, marks of the direction
/// of writing, other ends of lines and bytes that aren't text become blanks.
std::string OneLine(std::string_view text);

/// "1:02:03.500" from the start, to the millisecond; "-" for what is not a number.
std::string DurationText(double seconds);

/// What the channels of a block are called: by title; "Flow_2" is the second of that title. Where
/// there is none, "ch3" is the third; in a recording of several blocks with titles, such as the
/// variables of a MATLAB file, "sweep_ch3", or "sweep" where it is alone.
std::vector<std::string> ChannelNames(const lmimport::Recording& recording, std::size_t block);

/// "warning data-cut-off, block 1, channel 2 "Flow", at byte 300: ..."; the title where there is a
/// recording.
std::string FindingText(const lmimport::Finding& finding,
                        const lmimport::Recording* recording = nullptr);

/// "3 files", "1 file".
std::string Numbered(std::size_t count, std::string_view what);

/// The part of the file's name after its folders.
std::string FileTitle(const lmimport::Recording& recording);

/// What is no UTF-8 is replaced by U+FFFD, or no reader could decode it.
std::string ValidUtf8(std::string_view text);

/// A field of CSV, in quotes where it needs them.
std::string CsvField(const std::string& text, std::string_view separator = ",");

/// The reason, without the name of the file where it only begins with it: "Can't open "NAME": why".
std::string WithoutName(const std::string& reason, std::string_view file);

/// One line on standard error with the file and the reason, the file only where the reason doesn't
/// name it already.
void PrintFailure(std::string_view file, std::string_view reason);

}  // namespace lmi
