// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/record/store.h"

#include <algorithm>
#include <charconv>

#include "platform/format.h"
#include "platform/serial_ports.h"

namespace testlib {
namespace {

// Longer than all that is put around a line.
constexpr std::size_t kFrame = 128;
constexpr std::size_t kKindAndTime = 1 + Timestamp{}.size();
constexpr std::string_view kSerialPrefix = "\r\n@MFG ";

// Writes the whole line; how long it is.
std::size_t Render(std::span<char> to, std::string_view artifact, std::uint64_t number, std::string_view time) {
  std::array<char, 24> digits;
  const char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
  auto at = to.begin();
  const auto put = [&at](std::string_view text) { at = std::ranges::copy(text, at).out; };
  put("{");
  put(artifact);
  put(",\"sequenceNumber\":");
  put({digits.data(), static_cast<std::size_t>(end - digits.data())});
  put(",\"timestamp\":\"");
  put(time);
  put("\"}");
  return static_cast<std::size_t>(at - to.begin());
}

// The first line that waits, from the place on; without its line end.
std::string_view WaitingAt(const RecordStore& store, std::size_t place) {
  const std::span rest = std::span(store.waiting).subspan(place, store.length - place);
  return {rest.begin(), std::ranges::find(rest, '\n')};
}

void Remove(RecordStore& store, std::size_t place, std::size_t count) {
  const auto start = store.waiting.begin() + place;
  std::copy(start + count, store.waiting.begin() + store.length, start);
  store.length -= count;
}

bool DropOldestDebugMessage(RecordStore& store) {
  for (std::size_t place = 0; place < store.length;) {
    const std::string_view line = WaitingAt(store, place);
    if (line.front() == static_cast<char>(LineKind::kDebug)) {
      Remove(store, place, line.size() + 1);
      ++store.left_out;
      return true;
    }
    place += line.size() + 1;
  }
  return false;
}

bool MakeRoom(RecordStore& store, std::size_t size) {
  const auto has_room = [&] { return store.length + size <= store.waiting.size(); };
  if (!has_room() && !EFI_ERROR(store.status)) WriteOut(store);
  while (!has_room() && DropOldestDebugMessage(store)) continue;
  return has_room();
}

void SendToSerialPorts(RecordStore& store, std::string_view time, std::string_view artifact) {
  std::span<char> to = store.batch;
  std::size_t size = static_cast<std::size_t>(std::ranges::copy(kSerialPrefix, to.begin()).out - to.begin());
  size += Render(to.subspan(size), artifact, store.on_serial++, time);
  to[size++] = '\r';
  to[size++] = '\n';
  platform::WriteSerial({to.data(), size});
}

EFI_STATUS Make(RecordStore& store) {
  platform::FilePlace& place = store.file.place;
  place.volume = store.volume;
  if (store.folder[0] != 0) {
    place.path = store.folder;
    if (const EFI_STATUS status = platform::MakeFolder(place); EFI_ERROR(status)) return status;
  }
  for (std::uint32_t number = 1; number <= 999; ++number) {
    if (number == 1) FormatText(place.path, "%s%s", store.stem.data(), store.ending.data());
    if (number != 1) FormatText(place.path, "%s-%u%s", store.stem.data(), number, store.ending.data());
    bool is_folder = false;
    const EFI_STATUS status = platform::LookAt(place, &is_folder);
    if (status == EFI_NOT_FOUND) return platform::CreateFile(place);
    if (EFI_ERROR(status)) return status;
  }
  return EFI_ACCESS_DENIED;
}

// Puts as many whole lines into the batch as fit; how much of the waiting ones
// they are.
std::size_t FillBatch(RecordStore& store, std::size_t* size, std::uint64_t* lines) {
  std::size_t place = 0;
  while (place < store.length) {
    const std::string_view line = WaitingAt(store, place);
    if (*size + line.size() + kFrame > store.batch.size()) break;
    const std::string_view time(line.data() + 1, Timestamp{}.size());
    const std::string_view artifact(line.data() + kKindAndTime, line.size() - kKindAndTime);
    *size += Render(std::span(store.batch).subspan(*size), artifact, store.in_file + (*lines)++, time);
    store.batch[(*size)++] = '\n';
    place += line.size() + 1;
  }
  return place;
}

EFI_STATUS WriteBatch(RecordStore& store) {
  std::size_t size = 0;
  std::uint64_t lines = 0;
  const std::size_t taken = FillBatch(store, &size, &lines);
  const EFI_STATUS status = platform::Append(store.file, std::span(store.batch).first(size));
  if (EFI_ERROR(status)) return status;
  store.in_file += lines;
  Remove(store, 0, taken);
  return status;
}

}  // namespace

void Keep(RecordStore& store, LineKind kind, const Timestamp& time, std::string_view artifact) {
  const std::string_view time_text(time.data(), time.size());
  if (store.uses_serial) SendToSerialPorts(store, time_text, artifact);
  if (!store.has_file) return;
  const std::size_t size = kKindAndTime + artifact.size() + 1;
  if (!MakeRoom(store, size)) {
    if (kind == LineKind::kDebug) ++store.left_out;
    if (kind != LineKind::kDebug) store.is_broken = true;
    return;
  }
  auto at = store.waiting.begin() + store.length;
  *at++ = static_cast<char>(kind);
  at = std::ranges::copy(time_text, at).out;
  at = std::ranges::copy(artifact, at).out;
  *at = '\n';
  store.length += size;
}

bool WriteOut(RecordStore& store) {
  if (!store.has_file) return false;
  if (!store.is_made) {
    store.status = Make(store);
    store.is_made = !EFI_ERROR(store.status);
    if (!store.is_made) return false;
  }
  while (store.length > 0) {
    store.status = WriteBatch(store);
    if (EFI_ERROR(store.status)) return false;
  }
  return true;
}

}  // namespace testlib
