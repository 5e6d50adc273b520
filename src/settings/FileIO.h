// Whole-file reads and atomic whole-file writes over POSIX I/O. A write goes
// to a temporary file in the same directory, is flushed to the disk (fdatasync),
// and replaces the target by rename, so a reader or a crash sees either the
// old file or the new one, never a mixture.
//
// Thread: any.
#pragma once

#include <string>

#include "foundation/Runtime.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EFileError, Exception)

// False when the file doesn't exist; raises EFileError ("<file>: <reason>")
// on any other failure, and for files larger than MaxSize bytes.
bool ReadWholeFile(const std::string& Path, std::string& Bytes, size_t MaxSize = size_t(256) << 20);
// Raises EFileError on failure; the target is untouched then.
void WriteFileAtomic(const std::string& Path, const std::string& Bytes);

// Called between writing the temporary file and the rename; tests use it to
// simulate a crash in the middle of a save. Null in normal use.
extern void (*FileSaveHook)(const std::string& TempPath);

// Creates a directory and its parents (mode 0700 for new ones).
void ForceDirectories(const std::string& Path);

}  // namespace ide
