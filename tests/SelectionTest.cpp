// The file dialog, and what the library does when it starts.
#include <algorithm>
#include <filesystem>

#include "service/StartUp.h"
#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

class FakeSelector final : public FileSelector {
 public:
  void SetOwnerWindow(Long window) override { Window = window; }
  String LastPath() const override { return Path; }
  void SetLastPath(const String& path) override { Path = path; }
  void SetFilter(const String& filter) override { Filter = filter; }
  String SelectedFile() const override { return File; }
  bool Show() override {
    ShownAbove = Window;
    return !File.empty();
  }

  Long Window = 0;
  Long ShownAbove = 0;
  String Path;
  String Filter;
  String File;
};

using SelectionTest = ImportTest;

TEST_F(SelectionTest, OpensWhatTheUserPicks) {
  const Environment window("WINDOWID", "77");
  const auto selector = std::make_shared<FakeSelector>();
  selector->Path = u"/of the selector";
  SetFileSelector(selector);
  EXPECT_EQ(import_.DefaultPath(), u"/of the selector");
  ASSERT_TRUE(Open("a.lmc", Chart().Build()));
  const String elsewhere = FromUtf8(std::filesystem::temp_directory_path().string());
  import_.SetDefaultPath(elsewhere);
  EXPECT_EQ(selector->Path, elsewhere);
  const LMIFilePtr before = file_;
  EXPECT_FALSE(import_.SelectAndOpenFile(file_));  // cancelled
  EXPECT_EQ(selector->ShownAbove, 77);
  EXPECT_EQ(file_, before);
  EXPECT_EQ(file_->FileTitle(), u"a.lmc");
  EXPECT_TRUE(
      selector->Filter.starts_with(import_.FilterTitle(0) + u"|" + import_.FilterFiles(0) + u"|"));
  EXPECT_TRUE(
      selector->Filter.ends_with(u"Peak Files (*.pk;*.sfk)|*.pk;*.sfk|All Files (*.*)|*.*"));

  folder_.Write("b.wav", Wave().Build());
  selector->Path = FromUtf8(folder_.Path());
  selector->File = u"b.wav";  // a bare name is found in the folder of the dialog
  import_.SetFilterIndex(4);
  EXPECT_TRUE(import_.SelectAndOpenFile(file_));
  EXPECT_EQ(selector->Filter, u"Waveform Audio (*.wav)|*.wav");
  EXPECT_EQ(file_->FileTitle(), u"b.wav");
  EXPECT_EQ(import_.DefaultPath(), FromUtf8(folder_.Path()));
  selector->File = u"missing.wav";
  EXPECT_EQ(import_.SelectAndOpenFileObject(), nullptr);
  EXPECT_NE(Error(), "");
  selector->File.clear();
  EXPECT_FALSE(import_.SelectAndOpenFile(file_));
  EXPECT_EQ(Error(), "");
}

// Shows no window: the program that would is a script, and without a screen it isn't even started.
TEST_F(SelectionTest, TheDesktopsDialogServesWhereThereIsOne) {
  const std::string name = folder_.Write("a b'c.lmc", Chart().Build());
  const std::string log = folder_.PathOf("arguments");
  const Environment path("PATH", folder_.Path().c_str());
  const Environment wayland("WAYLAND_DISPLAY", "");
  const Environment noScreen("DISPLAY", "");
  const std::pair<const char*, const char*> programs[] = {{"kdialog", "--getopenfilename\n"},
                                                          {"zenity", "--file-selection\n"}};
  for (const auto& [program, argument] : programs) {
    const std::string script =
        folder_.Write(program, "#!/bin/sh\nprintf '%s\\n' \"$@\" >'" + log + "'\nprintf '%s\\n' '" +
                                   folder_.Path() + "/a b'\\''c.lmc'\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    EXPECT_FALSE(import_.SelectAndOpenFile(file_));
    EXPECT_FALSE(std::filesystem::exists(log));
    const Environment screen("DISPLAY", ":99");
    ASSERT_TRUE(import_.SelectAndOpenFile(file_));
    EXPECT_EQ(file_->FileName(), FromUtf8(name));
    EXPECT_EQ(import_.DefaultPath(), FromUtf8(folder_.Path()));
    EXPECT_EQ(Contents(log).find(argument), 0U) << Contents(log);
    folder_.Write(program, "#!/bin/sh\nexit 1\n");
    EXPECT_FALSE(import_.SelectAndOpenFile(file_));
    std::filesystem::remove(log);
  }
}

class FakeRegistry final : public platform::RegistryTools {
 public:
  bool KeyExists(long, const std::u16string& key) override {
    return std::ranges::find(Keys, key) != Keys.end();
  }
  bool CreateKey(long, const std::u16string& key) override { return Keys.push_back(key), true; }
  bool SetStringValue(long root, const std::u16string& key, const std::u16string& name,
                      const std::u16string& value) override {
    Values.push_back(ToUtf8(key.substr(0, key.find(u'{')) + name + u"=") +
                     (value.empty() ? "" : "class") +
                     (root == platform::LocalMachine ? " of the machine" : ""));
    return true;
  }

  std::vector<std::u16string> Keys;
  std::vector<std::string> Values;
};

TEST(StartUp, NamesTheSurrogateOnlyWhereThereAre32BitClasses) {
  FakeRegistry none;
  Main(none);
  EXPECT_TRUE(none.Keys.empty());
  EXPECT_TRUE(none.Values.empty());
  FakeRegistry registry;
  registry.Keys = {u"Wow6432Node\\CLSID"};
  Main(registry);
  EXPECT_EQ(registry.Keys.size(), 3U);
  const std::vector<std::string> values = {
      "Wow6432Node\\CLSID\\AppID=class", "Wow6432Node\\AppID\\DllSurrogate=",
      "Software\\Classes\\AppID\\DllSurrogate= of the machine"};
  EXPECT_EQ(registry.Values, values);
  Main(registry);  // a second start makes no key again
  EXPECT_EQ(registry.Keys.size(), 3U);
}

}  // namespace
}  // namespace lmimport::test
