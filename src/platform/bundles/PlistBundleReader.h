#pragma once

#include "platform/ApplicationBundles.h"

namespace vantorel {

/// Bundles in the layout NAME.app/Contents/Info.plist, as XML or binary property lists.
///
/// Anybody's files may lie in the folders that are scanned, so a list is read once, from a regular file of at most
/// kMaxFileSize bytes and without waiting for anything, and goes through PlistGuard before libplist sees it. No
/// state: each call reads the disk, from any thread.
class PlistBundleReader : public BundleReader {
public:
    /// Info.plist of real applications stays below 100 KiB, also with hundreds of document types.
    static constexpr qint64 kMaxFileSize = qint64(512) * 1024;

    /// `location` is the folder of the bundle. Absent when its Info.plist cannot be read, is too large, is no property
    /// list of the kind that PlistGuard admits, or holds anything but a dictionary. An empty identifier is none; an
    /// empty name is a name. The icon stays empty.
    std::optional<BundleInfo> bundleAt(const QString& location) override;
};

} // namespace vantorel
