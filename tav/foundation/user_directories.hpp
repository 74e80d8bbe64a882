// The user's well-known folders (videos, desktop) as the desktop names them.
#pragma once

#include <filesystem>
#include <string_view>

namespace tav {

/// $HOME, else the passwd entry's home directory, else "/".
std::filesystem::path homeDirectory();

/// The folder `xdg-user-dir <xdgName>` answers ("VIDEOS", "DESKTOP") when that command exists and
/// answers an absolute path other than the home directory; else the home directory's `fallbackName`
/// ("Videos", "Desktop"). The folder need not exist. Each name is asked once per process; thread-safe.
std::filesystem::path userDirectory(std::string_view xdgName, std::string_view fallbackName);

}  // namespace tav
