// Keeping a browser session's files in its own folder.
//
// Two kinds of name reach the browser host: names the engine is given in
// commands (INDAT run, OUTMOD ../x, PLTON /etc/y), which may be any text,
// and names of uploads and downloads, which are plain file names. A
// session's folder is the only place either may lead.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zenfit::web {

// Why the engine must not read or write path (the file-name rule applied
// to name, in folder), or "" when it may: an absolute name, a ".." part,
// or a path that leads out of folder through a link is refused.
std::string engineFileRefusal(const std::filesystem::path& folder, std::string_view name,
                              const std::filesystem::path& path);

// Why name is no plain file name for an upload or a download, or "" when
// it is one: 1 to 64 letters, digits, '.', '_' and '-', not starting with
// '.' or '-' (no folders, no hidden files, no "..").
std::string plainNameRefusal(std::string_view name);

// True when path, with every link followed, is inside folder (which must
// exist). A path that does not exist yet is judged by its nearest existing
// parent.
bool staysInside(const std::filesystem::path& folder, const std::filesystem::path& path);

}  // namespace zenfit::web
