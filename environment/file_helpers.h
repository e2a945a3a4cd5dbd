#pragma once

#include <cstdio>
#include <ctime>
#include <functional>
#include <string>

namespace vantor_env {

// Paths are UTF-8 byte strings. Either slash is accepted on input: a backslash is taken as "/".

// True if something that is not a folder stands at `path`.
bool FileExists(const std::string& path);
// True if a folder stands at `path`; a trailing slash is ignored.
bool FolderExists(const std::string& path);
// Creates one folder level; the parent must exist. The outcome is not reported.
void CreateFolder(const std::string& path);
// Creates the folder and every missing parent, top down. Existing levels are passed over.
void CreateFolderTree(const std::string& path);
// fopen with a C mode string; null on failure. The caller closes the stream.
std::FILE* OpenFile(const std::string& path, const std::string& mode);
void DeleteFile(const std::string& path);
// Removes an empty folder.
bool RemoveFolder(const std::string& path);
// Copies a file, replacing `to`; the copy lands under a temporary name first.
bool CopyFile(const std::string& from, const std::string& to);

// Writes `content` to a temporary file beside `path` and renames it into place, so `path`
// holds either its old or its new content. False when any step fails.
bool WriteFileAtomically(const std::string& path, const std::string& content);

// Called with bytes moved so far and the total; returning false stops the move.
using MoveProgressCallback = std::function<bool(long long done, long long total)>;
// Moves a file, also across file systems (copy with progress to a temporary name beside
// `to`, rename into place, then delete the source). An existing `to` is not replaced. A move
// stopped by the callback (ECANCELED) or failing half way leaves the source whole and no
// partial target. Failure is logged as "MoveFileWithProgress failed with <errno>.". The
// callback is called only while copying: with 0 first, then after each block.
void MoveFileWithProgress(const std::string& from, const std::string& to,
                          const MoveProgressCallback& callback);
// For tests: when set, MoveFileWithProgress copies even where a rename would do.
void SetMoveAlwaysCopies(bool always_copy);

// The running program's path, or with `folderOnly` its folder ending in "/"; "" on failure.
std::string GetExecutablePath(bool folderOnly);
// $TMPDIR or /tmp, ending in "/".
std::string GetTempFolder();
// The user's pictures folder, "/", then "Norvane"; empty when there is no pictures folder.
std::string GetDefaultDownloadPath();
// "%4d%02d%02dT%02d%02d%02d" of a local time.
std::string FormatTimestamp(std::time_t time);

}  // namespace vantor_env
