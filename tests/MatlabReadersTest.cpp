#include <cmath>
#include <limits>

#include "readers/MatlabVariables.h"
#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

std::string Doubles(const std::vector<double>& values) {
  Bytes bytes;
  for (const double value : values) bytes.Real64(value);
  return bytes.Get();
}

TEST(DecimalExponent, IsThatOfTheFirstDigit) {
  const std::pair<Single, Integer> rows[] = {
      {0.0F, 0},    {1.0F, 0},     {9.999999F, 0}, {10.0F, 1},      {100.0F, 2},
      {1000.0F, 3}, {1e6F, 6},     {1e9F, 9},      {999.99994F, 2}, {1e10F, 10},
      {0.5F, -1},   {-1000.0F, 3}, {0.1F, -1},  // a little above a tenth, as a Single
      {0.01F, -3},                              // a little below a hundredth
      {3e38F, 38},  {1e-45F, -45}};
  for (const auto& [value, exponent] : rows) EXPECT_EQ(DecimalExponent(value), exponent) << value;
  Single power = 1;
  for (Integer exponent = 0; exponent <= 10; ++exponent, power *= 10) {
    EXPECT_EQ(DecimalExponent(power), exponent);
    EXPECT_EQ(DecimalExponent(std::nextafter(power, Single{0})), exponent - 1);
  }
}

TEST(FitChannelScale, TakesARoundScaleThatFits) {
  constexpr Single largest = std::numeric_limits<Single>::max();
  const Single rows[][4] = {// least, greatest, scale, offset
                            {-1, 3, 10000, 1},
                            {-5, 5, 5000, 0},
                            {0, 0.5F, 100000, 0.25F},
                            {7, 7, 1000, 7},
                            {0, 65.5F, 1000, 32.75F},
                            {0, 65.75F, 800, 32.875F},
                            {0, 16.375F, 4000, 8.1875F},
                            {0, 10, 5000, 5},
                            {0, 9, 5000, 4.5F},
                            {0, 20, 2000, 10},
                            {-largest, largest, 8e-35F, 0}};
  for (const auto& row : rows) {
    Single scale = 0;
    Single offset = 9;
    FitChannelScale(row[0], row[1], scale, offset);
    EXPECT_FLOAT_EQ(scale, row[2]) << row[0] << ".." << row[1];
    EXPECT_FLOAT_EQ(offset, row[3]) << row[0] << ".." << row[1];
  }
}

class MatlabTest : public ImportTest {
 protected:
  bool OpenMat(const std::string& bytes) { return Open("f.mat", bytes); }

  /// "eeg 2x500 100Hz, pulse 1x4 50Hz": title, channels, frames and rate of each block.
  std::string Blocks() {
    std::ostringstream text;
    for (Integer i = 1; i <= file_->BlockCount(); ++i) {
      const LMIBlockPtr block = file_->Block(i);
      text << (i > 1 ? ", " : "") << ToUtf8(block->Title()) << ' ' << block->ChannelCount() << 'x'
           << block->SizeChannel() << ' ' << block->SamplingRate() << "Hz";
    }
    return text.str();
  }
};

TEST_F(MatlabTest, Level5GivesEveryField) {
  ASSERT_TRUE(
      OpenMat(Mat5({{"x", {2, 2}}, {"w", {1, 3}, 4, Bytes().Int16(0).Int32(0x8000ffff).Get()}})));
  EXPECT_EQ(Type(), (std::pair<Long, Long>(10, 0)));
  EXPECT_EQ(Summary(), "MATLAB 'x' 100 Hz, 2 frames of:  [] 2e-05 n + 0.5,  [] 0.0001 n + -1.25");
  EXPECT_EQ(Summary(*file_->Block(2)), "MATLAB 'w' 100 Hz, 3 frames of:  [] 0.000305176 n + 0");
  Double values[4] = {};
  EXPECT_EQ(file_->Block(1)->GetDataDouble(1, 2, values), 2);
  EXPECT_EQ(values[1], -3);
  Integer counts[3] = {};
  EXPECT_EQ(file_->Block(2)->GetChannelInteger(1, 1, 3, counts), 3);  // the top bit flipped
  EXPECT_EQ(counts[0], -32768);
  EXPECT_EQ(counts[1], 32767);
  EXPECT_EQ(counts[2], 0);
  EXPECT_EQ(FindingCodes(), Codes{"variables-misread"});  // integers in the class of doubles
}

TEST_F(MatlabTest, TheScanPassesOverWhatIsNoNumber) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double infinity = std::numeric_limits<double>::infinity();
  // Three channels: 0 to 0.5 with a NaN first, nothing but NaN, and one up to infinity.
  const std::string data = Doubles({nan, nan, 0, 0, nan, infinity, 0.5, nan, 1, 0.25, nan, 2});
  const std::string file = Mat5({{"x", {3, 4}, 9, data}});
  ASSERT_TRUE(OpenMat(file));
  EXPECT_EQ(Summary(),
            "MATLAB 'x' 100 Hz, 4 frames of:  [] 1e-05 n + 0.25,  [] 0.000305176 n + 0,  [] "
            "1e+34 n + 1.7014e+38");
  ASSERT_TRUE(OpenMat(file.substr(0, file.size() - 25)));  // two frames and a part
  EXPECT_EQ(Summary(*file_->Block(1)).substr(0, 58),
            "MATLAB 'x' 100 Hz, 4 frames of:  [] 0.001 n + 0,  [] 0.000");
  EXPECT_EQ(FindingCodes(), Codes{"data-cut-off"});
}

TEST_F(MatlabTest, TheScanCanBeGivenUp) {
  SetProgressHandler([](double) { return false; });
  try {
    OpenMat(Mat5({{"x"}}));
    ADD_FAILURE();
  } catch (const std::system_error& fault) {
    EXPECT_EQ(fault.code(), std::errc::operation_canceled);
  }
  SetProgressHandler({});
  EXPECT_TRUE(OpenMat(Mat5({{"x"}})));
}

TEST_F(MatlabTest, Level5SaysWhyNothingIsShown) {
  const std::string good = Mat5({{"x"}});
  const std::string head = good.substr(0, 128);
  const auto variable = [](std::vector<int> dimensions, int type) {
    return Mat5({{"x", std::move(dimensions), type, std::string(400, '\1')}});
  };
  const struct {
    std::string Bytes;
    const char* Error;
  } rows[] = {
      {good.substr(0, 143), "No data in the file"},
      {Patched(good, 124, Bytes().Text("\x01").Int8(0).Text("MI")),
       "Unsupported file format (Big-Endian)"},
      {Patched(Patched(good, 7, Bytes().Text("7.3")), 125, Bytes().Int8(2)),
       "Unsupported file format (v7.3)"},
      {head + Mat5Element(15, "compressed data"), "Unsupported file format (v5.0 - COMPRESSED)"},
      {head + Mat5Element(17, "text text"), "Unsupported file format (Unicode Character Data)"},
      {head + Mat5Element(99, "text text"), "Unsupported file format"},
      {head + Mat5Element(1, "text text"), "Unsupported file format (miINT8)"},
      {variable({40, 50}, 9), "Unsupported file format (40 channels)"},
      {variable({2, 2, 2}, 9), "Unsupported file format (3-dimension array)"},
      {variable({1, 100}, 5), "Unsupported file format (miINT32)"},
      {variable({1, 100}, 2), "Unsupported file format (miUINT8)"},
      {variable({1, 100}, 14), "Unsupported file format"},
      {variable({0, 0}, 9), "Unsupported file format"},
      {variable({-3, 9}, 9), "Unsupported file format"},
      {Mat5({{"x", {1, 1}, 9, Doubles({1})}}), "Unsupported file format"},
      {Patched(good, 188, Bytes().Int32(0x7fffffff)), "Unsupported file format"},  // of the samples
      {Mat5({{"a_Data"}, {"r_SamplingRate", {1, 1}, 9, Doubles({1e39})}}),
       "Error in the file format"},
      {Patched(good, 132, Bytes().Int32(-8)), "Unsupported file format"},
      {Patched(good, 172, Bytes().Int32(0x7fffffff)), "Unsupported file format"},  // of the name
      {Patched(good, 168, Bytes().Int32(257)), "Unsupported file format"},  // a tag of one word
  };
  int number = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(++number);
    EXPECT_FALSE(OpenMat(row.Bytes));
    EXPECT_EQ(Error(), row.Error);
  }
  ASSERT_TRUE(OpenMat(Patched(good, 168, Bytes().Int32(256))));  // a name's tag of two words
  EXPECT_EQ(Blocks(), "x 1x4 100Hz");
  const std::string element = head + Mat5Element(9, Doubles({1, 2, 3}));
  ASSERT_TRUE(OpenMat(element));  // a bare element, without a name
  EXPECT_EQ(Blocks(), " 1x3 100Hz");
  ASSERT_TRUE(OpenMat(Mat5({{"tall", {200, 2}, 3, std::string(800, '\1')}, {"one", {4}}})));
  EXPECT_EQ(Blocks(), "tall 2x200 100Hz, one 1x4 100Hz");
}

TEST_F(MatlabTest, NamesAndRatesFollowTheConvention) {
  const auto rate = [](std::string name, int type, const std::string& data) {
    return Mat5Variable{std::move(name), {1, 1}, type, data};
  };
  const auto doubles = [&](std::vector<double> values) {
    return rate("r_SamplingRate", 9, Doubles(values));
  };
  const struct {
    std::vector<Mat5Variable> Variables;
    const char* Blocks;
    Codes Findings;
  } rows[] = {
      {{{"x"}, {"a_Data"}}, "x 1x4 100Hz, a 1x4 100Hz", {}},
      {{{"a_Data"}, {"x"}}, "a 1x4 100Hz", {"variables-left-out"}},
      {{doubles({250}), {"a_Data"}}, "a 1x4 250Hz", {}},
      {{{"a_Data"}, {"b_Data"}, doubles({500})}, "a 1x4 500Hz, b 1x4 100Hz", {"rates-by-order"}},
      {{{"a_Data"}, doubles({5, 6})}, "a 1x4 5Hz", {"variables-left-out"}},
      {{{"a_Data"}, doubles({-5})}, "a 1x4 100Hz", {"variables-left-out"}},
      {{{"e_Data", {0, 0}, 9, ""}, {"x"}, {"a_Data"}}, "a 1x4 100Hz", {"variables-left-out"}},
      {{{"a_Data"}, {"z_SamplingRate_Data", {1, 1}, 9, Doubles({8})}}, "a 1x4 8Hz", {}},
      {{{"_Data"}, {"_SamplingRate"}}, "_Data 1x4 100Hz, _SamplingRate 1x4 100Hz", {}},
      {{{"a_data"}, {"x"}}, "a_data 1x4 100Hz, x 1x4 100Hz", {}},
      {{{"a_Data"}, rate("r_SamplingRate", 1, "\xfa")}, "a 1x4 250Hz", {}},
      {{{"a_Data"}, rate("r_SamplingRate", 5, Bytes().Int32(-7).Get())}, "a 1x4 7Hz", {}},
      {{{"a_Data"}, rate("r_SamplingRate", 7, Bytes().Real32(-2.5F).Get())}, "a 1x4 2.5Hz", {}},
      {{{"a", {4, 1}}, {"b", {2, 2}, 9, Mat5Variable().Data, 4}},
       "a 1x4 100Hz, b 2x2 100Hz",
       {"variables-misread"}},
      {{{"z", {1, 4}, 9, Mat5Variable().Data, 6, 8}}, "z 1x4 100Hz", {"variables-misread"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.Blocks);
    ASSERT_TRUE(OpenMat(Mat5(row.Variables)));
    EXPECT_EQ(Blocks(), row.Blocks);
    EXPECT_EQ(FindingCodes(), row.Findings);
  }
}

TEST_F(MatlabTest, Version4WalksItsVariables) {
  const std::string four = Doubles({1, -3, 0, 0.5});
  const std::string x = Mat4(0, 2, 2, false, "x", four);
  const auto words = [](int rows, int columns) {
    return Mat4(30, rows, columns, false, "w",
                std::string(static_cast<std::size_t>(rows * columns) * 2, '\1'));
  };
  const struct {
    std::string Bytes;
    const char* Blocks;
  } rows[] = {
      {x, "x 2x2 100Hz"},
      {words(1, 100) + words(100, 1) + x, "w 1x100 100Hz, w 1x100 100Hz, x 2x2 100Hz"},
      {words(4, 100) + words(100, 4), "w 4x100 100Hz, w 4x100 100Hz"},
      {words(40, 40) + words(40, 20) + words(20, 40), "w 20x40 100Hz, w 20x40 100Hz"},
      {Mat4(0, 1, 4, true, "z", four + four) + x, "zRe 1x4 100Hz, zIm 1x4 100Hz, x 2x2 100Hz"},
      {x + Bytes().Int32(0).Int32(1).Int32(4).Int32(0).Int32(1000).Text("name").Zeros(40).Get(),
       "x 2x2 100Hz"},  // a name that goes on past the end
      {Mat4(20, 1, 4, false, "i", std::string(16, '\1')) + x, "x 2x2 100Hz"},
      {Mat4(0, 1, 1, false, "s", Doubles({1})) + x, "x 2x2 100Hz"},
      {Mat4(0, 1, 1, false, "r_SamplingRate", Doubles({50})) + x +
           Mat4(0, 1, 4, false, "a_Data", four),
       "a 1x4 50Hz"},
      {Mat4(0, 1, 1, false, "r_SamplingRate", Doubles({50})) +
           Mat4(0, 2, 2, false, "r_SamplingRate", Doubles({60, 1, 1, 1})) +
           Mat4(0, 1, 4, false, "a_Data", four),
       "a 1x4 60Hz"},  // as many rates as before
      {Mat4(10, 1, 1, false, "r_SamplingRate", "1234") + x, "x 2x2 100Hz"},
      {Mat4(0, 1, 4, false, "a_Data", four) + Mat4(0, 1, 4, false, "", four) + x,
       "a 1x4 100Hz,  1x4 100Hz"},
      {x + Mat4(1000, 1, 4, false, "big", four) + x, "x 2x2 100Hz"},  // ends the walk
      {x + Mat4(60, 1, 4, false, "kind", four) + x, "x 2x2 100Hz"},
      {x + Mat4(0, 0, 4, false, "empty", "") + x, "x 2x2 100Hz"},
      {x + Patched(x, 16, Bytes().Int32(-100)) + x, "x 2x2 100Hz"},
      {x + Patched(x, 4, Bytes().Int32(0x7fffffff).Int32(0x7fffffff)), "x 2x2 100Hz"},
  };
  int number = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(++number);
    ASSERT_TRUE(OpenMat(row.Bytes));
    EXPECT_EQ(Blocks(), row.Blocks);
  }
  EXPECT_FALSE(OpenMat(x.substr(0, 24)));
  EXPECT_EQ(Error(), "Unsupported file format");
  ASSERT_TRUE(OpenMat(Mat4(0, 1, 2, true, "z", Doubles({-1, 3, 0, 0.5}))));
  EXPECT_EQ(Summary(), "MATLAB 'zRe' 100 Hz, 2 frames of:  [] 0.0001 n + 1");
  EXPECT_EQ(Summary(*file_->Block(2)), "MATLAB 'zIm' 100 Hz, 2 frames of:  [] 1e-05 n + 0.25");
}

TEST_F(MatlabTest, AMillionVariablesCostNoMoreThanTheirFile) {
  const std::string tiny = Mat4(30, 1, 2, false, "", "1234");
  std::string many;
  for (int i = 0; i < 1000000; ++i) many += tiny;
  const HeapUse heap;
  ASSERT_TRUE(OpenMat(many));
  EXPECT_EQ(file_->BlockCount(), 32767);
  EXPECT_LT(heap.Peak(), many.size() * 2);
  EXPECT_EQ(FindingCodes(), (Codes{"variables-misread", "variables-left-out"}));
}

// They aren't padded, and the walk takes them as if they were.
TEST_F(MatlabTest, EachCompressedVariableIsCounted) {
  const std::string numbers = Mat5({{"x"}});
  std::string bytes = numbers;
  for (const std::size_t size : {13, 17, 9}) {
    Bytes element;
    element.Int32(15).Int32(static_cast<std::int32_t>(size)).Text(std::string(size, '\xf0'));
    bytes += element.Get();
  }
  ASSERT_TRUE(OpenMat(bytes + numbers.substr(128)));
  EXPECT_EQ(Blocks(), "x 1x4 100Hz");
  ASSERT_EQ(FindingCodes(), Codes{"variables-left-out"});
  EXPECT_EQ(Findings().front().Text, "Left out: 3 compressed, 1 after compressed ones.");
  // The end of the walk is told as it is stated.
  ASSERT_TRUE(OpenMat(numbers + Bytes().Int32(14).Int32(-16).Zeros(8).Get()));
  EXPECT_NE(Findings().front().Text.find("an element of 4294967280 bytes"), std::string::npos);
}

}  // namespace
}  // namespace lmimport::test
