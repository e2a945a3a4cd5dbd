#pragma once

#include <cstdio>
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

// Writes `content` to a temporary file beside `path` and renames it into place, so `path`
// holds either its old or its new content. False when any step fails.
bool WriteFileAtomically(const std::string& path, const std::string& content);

// $TMPDIR or /tmp, ending in "/".
std::string GetTempFolder();
// The user's pictures folder, "/", then "Norvane"; empty when there is no pictures folder.
std::string GetDefaultDownloadPath();
}  // namespace vantor_env
