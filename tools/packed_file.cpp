#include "tools/packed_file.h"

#include <cstring>

#include "tools/file_io.h"

namespace {

bool HasSignature(const std::vector<uint8_t>& bytes)
{
    return bytes.size() >= 12 && (std::memcmp(bytes.data() + 4, Signature, 8) == 0 ||
                                  std::memcmp(bytes.data() + 4, OldSignature, 8) == 0);
}

} // namespace

bool LoadPackedFile(const std::string& path, PackedFile* file, std::string* error)
{
    std::vector<uint8_t> bytes;
    if (!ReadFileBytes(path, &bytes, error))
        return false;
    file->length = bytes.size();
    file->words.assign((bytes.size() + 3) / 4, 0);
    if (!bytes.empty())
        std::memcpy(file->words.data(), bytes.data(), bytes.size());
    if (HasSignature(bytes)) {
        if (!CheckPackedPicture(bytes.data(), bytes.size(), &file->info)) {
            *error = path + ": damaged packed picture: " + file->info.reason;
            return false;
        }
    } else if (!CheckPackedPicture16(bytes.data(), bytes.size(), &file->info)) {
        *error = path + ": not a packed picture (no \"" + Signature + "\" or \"" + OldSignature +
                 "\" signature; as a sixteen-bit packed picture: " + file->info.reason + ")";
        return false;
    }
    if (file->info.size != bytes.size()) {
        *error = path + ": " + std::to_string(bytes.size() - file->info.size) +
                 " stray bytes after the end of the picture (byte " +
                 std::to_string(file->info.size) + ")";
        return false;
    }
    return true;
}

std::string DescribeLayout(const PackedPictureInfo& info)
{
    switch (info.encoding) {
    case kPackedCurrent:
        return std::string("32-bit packed picture, current encoding (") + Signature + ")";
    case kPackedOlder:
        return std::string("32-bit packed picture, older encoding (") + OldSignature + ")";
    case kPacked16:
        return "sixteen-bit packed picture";
    default:
        return "unknown";
    }
}
