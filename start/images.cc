// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "start/images.h"

#include <string_view>

#include "platform/collation.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/format.h"
#include "platform/image.h"
#include "platform/status_text.h"
#include "platform/variables.h"

namespace start {
namespace {

constexpr const char16_t* kBootFolder = u"\\EFI\\BOOT\\";
constexpr EFI_GUID kGlobalVariableGuid = EFI_GLOBAL_VARIABLE;

bool IsSecurityStatus(EFI_STATUS status) { return status == EFI_ACCESS_DENIED || status == EFI_SECURITY_VIOLATION; }

}  // namespace

bool FindFolder(EFI_HANDLE image, Path& folder) {
  if (EFI_ERROR(platform::FolderOf(image, folder))) return false;
  if (platform::EqualIgnoringCase(folder.data(), kBootFolder)) folder = {u'\\'};
  return true;
}

Path PathIn(const Path& folder, const char16_t* name) {
  Path path;
  FormatText(path, "%s%s", folder.data(), name);
  return path;
}

Reason ReasonOf(EFI_STATUS status) {
  Reason reason;
  if (status == EFI_NOT_FOUND) {
    FormatText(reason, "it is not on the drive, or the drive was pulled");
  } else if (IsSecurityStatus(status) && IsSecureBootOn()) {
    FormatText(reason, "Secure Boot is on, and it is not signed by a key that this machine trusts");
  } else if (status == EFI_LOAD_ERROR || status == EFI_UNSUPPORTED) {
    FormatText(reason, "the file is damaged, or is no image for this machine");
  } else {
    FormatText(reason, "%s", platform::StatusText(status).Text());
  }
  return reason;
}

bool IsSecureBootOn() {
  std::uint8_t value = 0;
  std::size_t size = 0;
  return !EFI_ERROR(platform::ReadVariableInto(u"SecureBoot", kGlobalVariableGuid, {&value, 1}, &size)) && value == 1;
}

EFI_HANDLE LoadDriver(EFI_HANDLE self, const Path& folder, const char16_t* name, const char16_t* options) {
  EFI_HANDLE driver = nullptr;
  const EFI_STATUS status = platform::LoadImageFile(self, PathIn(folder, name).data(), &driver);
  if (EFI_ERROR(status)) {
    std::array<char16_t, 256> text;
    FormatText(text, "%s is not loaded: %s.\n", name, ReasonOf(status).data());
    platform::Write(text.data(), platform::Colour::kNotice);
    return nullptr;
  }
  if (EFI_LOADED_IMAGE* const loaded = platform::LoadedImage(driver); loaded != nullptr && *options != 0) {
    const std::u16string_view text = options;
    loaded->LoadOptions = const_cast<char16_t*>(options);
    loaded->LoadOptionsSize = static_cast<UINT32>((text.size() + 1) * sizeof(char16_t));
  }
  return EFI_ERROR(platform::StartLoadedImage(driver)) ? nullptr : driver;
}

}  // namespace start
