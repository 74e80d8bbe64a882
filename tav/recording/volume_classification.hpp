// Where a folder lives: on this computer, on an external volume or in a cloud drive.
//
// The classification rule works on the few facts a file system gives about a folder (its display
// name, the name of its volume, the name of a cloud container that holds it). On Linux those facts
// come from the mount table: see volumeResourceValues.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tav/recording/recording_location.hpp"

namespace tav {

/// The resource values of a folder that classification and the read-only test read.
struct VolumeResourceValues {
  std::optional<std::string> localizedName;
  std::optional<std::string> volumeName;
  std::optional<std::string> ubiquitousItemContainerDisplayName;
  std::optional<bool> volumeIsReadOnly;

  friend bool operator==(const VolumeResourceValues&, const VolumeResourceValues&) = default;
};

/// The type of a folder's location and the name to show beside it:
/// - a cloud container makes it `cloud`;
/// - else a volume named "User" is `local`, any other volume `external(volumeName)`, and such a type
///   has no name when the folder's own name equals the volume's;
/// - a path containing "File Provider Storage" is `local` whatever came before, with no name when
///   that is the folder itself;
/// - otherwise the type found (`local` when none) and the folder's name.
std::pair<RecordingLocationType, std::optional<std::string>> classifyRecordingLocation(
    std::string_view path, const VolumeResourceValues& values);

/// The resource values of `folder` read from `mountTable` (the text of /proc/self/mounts): the mount
/// with the longest mount point that contains the folder decides. The folder's localized name is its
/// last path component. A mount under /media, /run/media or /mnt is an external volume named after
/// its mount point's last component; a FUSE mount of a cloud client (rclone, onedriver, gcsfuse,
/// google-drive-ocamlfuse, s3fs, davfs) is a cloud container named after the mount point; every other
/// mount is the user's own volume "User". `volumeIsReadOnly` is true when the mount has the option
/// "ro". Absent when no mount contains the folder.
std::optional<VolumeResourceValues> volumeResourceValues(const std::filesystem::path& folder,
                                                         std::string_view mountTable);

/// The text of /proc/self/mounts; empty when it cannot be read.
std::string currentMountTable();

}  // namespace tav
