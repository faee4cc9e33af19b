// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "start/hang_guard.h"

#include <algorithm>
#include <string_view>

#include "platform/files.h"
#include "platform/format.h"

namespace start {

bool FindRunningTest(EFI_HANDLE self, const Path& folder, RunningTest& test) {
  std::array<std::uint8_t, RunningTest{}.size() - 1> content{};
  std::size_t size = 0;
  const Path path = PathIn(folder, kRunningFile);
  const EFI_STATUS status = platform::ReadFileOnVolume(self, path.data(), content, &size);
  // Whatever a file holds that is too long, it was left.
  if (EFI_ERROR(status) && status != EFI_BUFFER_TOO_SMALL) return false;
  test = {};
  std::transform(content.begin(), content.end(), test.begin(),
                 [](std::uint8_t byte) { return byte < 0x7F ? static_cast<char16_t>(byte) : u'?'; });
  const std::size_t end = std::u16string_view(test.data()).find_last_not_of(u" \r\n");
  test[end == std::u16string_view::npos ? 0 : end + 1] = 0;
  return true;
}

EFI_STATUS WriteRunningTest(EFI_HANDLE self, const Path& folder, std::uint32_t number, const char16_t* title) {
  RunningTest text;
  std::array<std::uint8_t, RunningTest{}.size() - 1> content;
  const std::size_t length = FormatText(text, "%u %s", number, title);
  // Of one length, so that a text covers the one before.
  content.fill(' ');
  std::transform(text.begin(), text.begin() + length, content.begin(),
                 [](char16_t c) { return static_cast<std::uint8_t>(c); });
  return platform::WriteFileOnVolume(self, PathIn(folder, kRunningFile).data(), content);
}

EFI_STATUS ForgetRunningTest(EFI_HANDLE self, const Path& folder) {
  const EFI_STATUS status = platform::DeleteFileOnVolume(self, PathIn(folder, kRunningFile).data());
  return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
}

}  // namespace start
