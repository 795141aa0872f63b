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

FileHandle openOrFail(const fs::path& path, int flags) {
  const int fileDescriptor = openFile(path, flags, ownerOnly);
  if (fileDescriptor < 0) throw PlatformException(Error::fromErrno("open " + path.string()));
  return FileHandle(fileDescriptor);
}

DataPieces piecesOf(FileHandle& file, const FileManager::PieceAttendant& attend) {
  DataPieces pieces;
  for (;;) {
    Data piece = file.readDataOfLength(dataPieceSize);
    if (piece.empty() && !pieces.empty()) return pieces;
    if (!pieces.empty()) attend(pieces.back());
    const bool isLast = piece.size() < dataPieceSize;
    pieces.push_back(std::move(piece));
    if (isLast) return pieces;
    BlockingWait::glance();
  }
}

// Runs an operation on an open file; what goes wrong names the file.
template <typename Operation>
auto naming(const fs::path& path, const Operation& operation) {
  try {
    return operation();
  } catch (const std::exception& exception) {
    throw PlatformException(std::string(exception.what()) + " (" + path.string() + ")");
  }
}

}  // namespace

std::variant<DataPieces, Error> FileManager::readPieces(const fs::path& path,
                                                        const PieceAttendant& attend) {
  try {
    FileHandle file = openOrFail(path, O_RDONLY);
    system::keepOutOfFileCache(file.fileDescriptor());
    return naming(path, [&] { return piecesOf(file, attend); });
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
  try {
    FileHandle file = openOrFail(path, O_WRONLY | O_CREAT | O_TRUNC);
    naming(path, [&] {
      for (; !pieces.empty(); pieces.pop_front()) {
        file.writeData(pieces.front());
        BlockingWait::glance();
      }
      file.closeAfterWriting();
    });
    return std::nullopt;
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
}

MaybeError FileManager::writeFile(const fs::path& path, DataView content) {
  try {
    FileHandle file = openOrFail(path, O_WRONLY | O_CREAT | O_TRUNC);
    naming(path, [&] {
      file.writeData(content);
      file.closeAfterWriting();
    });
    return std::nullopt;
  } catch (const PlatformException& exception) {
    return Error{exception.what()};
  }
}

}  // namespace ztp
