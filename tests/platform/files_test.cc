#include "platform/files.h"

#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/shell.h"
#include "simulation/modern_shell.h"
#include "simulation/volume.h"
#include "tests/faults_fail_tests.h"

namespace {

using Names = std::vector<std::u16string>;
using DevicePath = std::vector<std::uint8_t>;

void AddNode(DevicePath& path, std::uint8_t type, std::uint8_t subtype, const DevicePath& content, int length = 0) {
  if (length == 0) length = static_cast<int>(content.size()) + 4;
  path.insert(path.end(), {type, subtype, static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(length >> 8)});
  path.insert(path.end(), content.begin(), content.end());
}

void AddName(DevicePath& path, const std::u16string& name) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(name.c_str());
  AddNode(path, MEDIA_DEVICE_PATH, MEDIA_FILEPATH_DP, {bytes, bytes + 2 * name.size() + 2});
}

// An image that was started from a volume.
struct Files : testing::Test {
  Files() {
    image = machine.LoadImage();
    machine.StartImage(image, [](EFI_HANDLE handle, EFI_SYSTEM_TABLE* table) {
      platform::InitializeImage(handle, table);
      return EFI_STATUS{EFI_SUCCESS};
    });
    platform::LoadedImage(image)->DeviceHandle = volume.handle;
    volume.files[u"a"] = "0123456789";
  }

  EFI_STATUS ReadBeside(DevicePath path) {
    AddNode(path, END_DEVICE_PATH_TYPE, END_ENTIRE_DEVICE_PATH_SUBTYPE, {});
    platform::LoadedImage(image)->FilePath = reinterpret_cast<EFI_DEVICE_PATH*>(path.data());
    volume.opened.clear();
    return platform::ReadFileBeside(image, u"cfg", buffer, &size);
  }

  simulation::Machine machine;
  simulation::Volume volume{machine};
  EFI_HANDLE image;
  std::array<std::uint8_t, 10> buffer{};
  std::size_t size = 99;
};

TEST_F(Files, AreLookedForInTheImagesFolder) {
  const std::u16string longest(511 - 4, u'x');
  const struct {
    Names nodes;
    Names opened;
  } cases[] = {
      {{u"\\EFI\\mfgtest.efi"}, {u"\\EFI\\cfg"}},
      {{u"EFI", u"mfgtest.efi"}, {u"EFI\\cfg"}},
      {{u"\\EFI\\", u"mfgtest.efi"}, {u"\\EFI\\cfg"}},
      {{u"mfgtest.efi"}, {u"cfg"}},
      {{}, {u"cfg"}},
      {{longest, u"a"}, {longest + u"\\cfg"}},
      {{longest + u"x", u"a"}, {}},
      {{std::u16string(512, u'x')}, {}},
      {{std::u16string(511, u'x'), u"a"}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    DevicePath path;
    AddNode(path, HARDWARE_DEVICE_PATH, MEDIA_FILEPATH_DP, {u'\\', 0, 0, 0});
    AddNode(path, MEDIA_DEVICE_PATH, MEDIA_HARDDRIVE_DP, {u'\\', 0, 0, 0});
    for (const std::u16string& node : c.nodes) AddName(path, node);
    EXPECT_EQ(ReadBeside(path), c.opened.empty() ? EFI_INVALID_PARAMETER : EFI_NOT_FOUND);
    EXPECT_EQ(volume.opened, c.opened);
  }
  DevicePath unterminated;
  AddNode(unterminated, MEDIA_DEVICE_PATH, MEDIA_FILEPATH_DP, {'D', 0, '\\', 0});
  ReadBeside(unterminated);
  EXPECT_EQ(volume.opened, Names{u"D\\cfg"});
  DevicePath endless;
  AddNode(endless, MEDIA_DEVICE_PATH, MEDIA_FILEPATH_DP, {}, 3);
  EXPECT_EQ(ReadBeside(endless), EFI_INVALID_PARAMETER);
  EXPECT_EQ(volume.opened, Names{});
}

TEST_F(Files, AreReadWholeOrNotAtAll) {
  const struct {
    std::string content;
    EFI_STATUS status;
    simulation::Volume::Behaviour behaviour;
  } cases[] = {
      {"", EFI_SUCCESS, {}},
      {"12345", EFI_SUCCESS, {}},
      {"0123456789", EFI_SUCCESS, {}},
      {"0123456789", EFI_SUCCESS, {.portion = 3}},
      {"0123456789", EFI_SUCCESS, {.info_status = EFI_DEVICE_ERROR}},
      {"0123456789A", EFI_BUFFER_TOO_SMALL, {}},
      {"12345", EFI_UNSUPPORTED, {.is_folder = true}},
      {"12345", EFI_DEVICE_ERROR, {.damaged_from = 5}},
      {"12345", EFI_NO_MEDIA, {.open_status = EFI_NO_MEDIA}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    volume.files[u"a"] = c.content;
    volume.behaviour = c.behaviour;
    ASSERT_EQ(platform::ReadFile(image, u"a", buffer, &size), c.status);
    const std::string read(buffer.begin(), buffer.begin() + size);
    EXPECT_TRUE(EFI_ERROR(c.status) || read == c.content) << read;
  }
}

TEST_F(Files, AreNotThereWithoutAVolume) {
  platform::LoadedImage(image)->DeviceHandle = nullptr;
  EXPECT_EQ(ReadBeside({}), EFI_NOT_FOUND);
  platform::LoadedImage(image)->DeviceHandle = image;
  EXPECT_EQ(ReadBeside({}), EFI_NOT_FOUND);
  // It came from a volume, and that is gone.
  DevicePath path;
  AddName(path, u"mfgtest.efi");
  EXPECT_EQ(ReadBeside(path), EFI_NO_MEDIA);
  EXPECT_EQ(platform::ReadFile(image, u"a", buffer, &size), EFI_NO_MEDIA);
  EXPECT_EQ(platform::ReadFile(volume.handle, u"a", buffer, &size), EFI_NOT_FOUND);
  EXPECT_EQ(platform::ReadFileBeside(volume.handle, u"a", buffer, &size), EFI_NOT_FOUND);
}

// A modern shell knows paths that the volume does not.
TEST_F(Files, AreReadThroughTheShell) {
  simulation::ModernShell shell(machine);
  shell.files[u"a"] = {1, 2, 3};
  const auto read = [&] { return platform::ReadFile(image, u"a", buffer, &size); };
  EXPECT_EQ(read(), EFI_SUCCESS);
  EXPECT_EQ(size, 3u);
  auto* const protocol = platform::FirstInterface<EFI_SHELL_PROTOCOL>(kShellProtocolGuid);
  static const auto file_info = protocol->GetFileInfo;
  protocol->GetFileInfo = [](SHELL_FILE_HANDLE file) EFIAPI {
    EFI_FILE_INFO* const info = file_info(file);
    info->Attribute = EFI_FILE_DIRECTORY;
    return info;
  };
  EXPECT_EQ(read(), EFI_UNSUPPORTED);
  protocol->GetFileInfo = [](SHELL_FILE_HANDLE) EFIAPI -> EFI_FILE_INFO* { return nullptr; };
  EXPECT_EQ(read(), EFI_SUCCESS);
  EXPECT_EQ(machine.memory.Outstanding(), 0u);
}

}  // namespace
