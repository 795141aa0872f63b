// Whole files read into memory and written from it, piece by piece, so that a cancel is seen
// between the pieces.
#include <algorithm>
#include <exception>
#include <utility>

#include <fcntl.h>

#include "platform/BlockingWait.h"
#include "platform/FileHandle.h"
#include "platform/FileManager.h"
#include "platform/OpenFile.h"
#include "platform/System.h"

namespace ztp {
namespace {

namespace fs = std::filesystem;

constexpr unsigned ownerOnly = 0600;

// Large enough that calls cost nothing beside the copying, small enough that the file cache finds
// room for it in what the pieces before it gave back.
constexpr std::size_t writtenAtOnce = 262'144;

// Runs an operation on the file that it opens; what goes wrong names the file.
template <typename Operation>
auto withFile(const fs::path& path, int flags, const Operation& operation) {
  const int fileDescriptor = openFile(path, flags, ownerOnly);
  if (fileDescriptor < 0) throw PlatformException(Error::fromErrno("open " + path.string()));
  FileHandle file(fileDescriptor);
  try {
    return operation(file);
  } catch (const std::exception& exception) {
    throw PlatformException(std::string(exception.what()) + " (" + path.string() + ")");
  }
}

DataPieces piecesOf(FileHandle& file, std::size_t expected,
                    const FileManager::PieceAttendant& attend) {
  DataPieces pieces;
  for (;;) {
    Data piece = file.readDataOfLength(dataPieceSize, expected);
    if (piece.empty() && !pieces.empty()) return pieces;
    if (!pieces.empty()) attend(pieces.back());
    const bool isLast = piece.size() < dataPieceSize;
    expected -= std::min(expected, piece.size());
    pieces.push_back(std::move(piece));
    if (isLast) return pieces;
    BlockingWait::glance();
  }
}

template <typename Operation>
MaybeError writing(const fs::path& path, const Operation& operation) {
  try {
    withFile(path, O_WRONLY | O_CREAT | O_TRUNC, [&](FileHandle& file) {
      operation(file);
      file.closeAfterWriting();
    });
    return std::nullopt;
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
}

void writeAttended(FileHandle& file, DataView content) {
  while (!content.empty()) {
    const auto part = content.first(std::min(content.size(), writtenAtOnce));
    file.writeData(part);
    content = content.subspan(part.size());
    BlockingWait::glance();
  }
}

}  // namespace

std::variant<DataPieces, Error> FileManager::readPieces(const fs::path& path,
                                                        const PieceAttendant& attend) {
  try {
    return withFile(path, O_RDONLY, [&](FileHandle& file) {
      system::keepOutOfFileCache(file.fileDescriptor());
      return piecesOf(file, file.size(), attend);
    });
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
}

std::variant<Data, Error> FileManager::readFile(const fs::path& path) {
  auto read = readPieces(path, [](Data& /*piece*/) {});
  if (auto* error = std::get_if<Error>(&read)) return std::move(*error);
  auto& pieces = std::get<DataPieces>(read);
  Data content = std::move(pieces.front());
  for (auto piece = std::next(pieces.begin()); piece != pieces.end(); ++piece) {
    content.insert(content.end(), piece->begin(), piece->end());
  }
  return content;
}

MaybeError FileManager::writePieces(const fs::path& path, DataPieces pieces) {
  return writing(path, [&](FileHandle& file) {
    for (; !pieces.empty(); pieces.pop_front()) writeAttended(file, pieces.front());
  });
}

MaybeError FileManager::writeFile(const fs::path& path, DataView content) {
  return writing(path, [&](FileHandle& file) { file.writeData(content); });
}

}  // namespace ztp
