// QK3DFileDataProcessor.h: a filter between the stored bytes of a file and its reader.
#pragma once

#include "QK3DExport.h"

namespace qk3d {
/// Turns stored bytes into readable ones. Hosts derive from it to read encoded or packed files, and hand it to a file
/// store for one file extension. What it throws counts as data that cannot be decoded.
class QK3D_API CFileDataProcessor {
public:
    virtual ~CFileDataProcessor();

    /// Decodes `inSize` stored bytes into `out`, which has room for `outSize`, and returns how many it wrote. `in` and
    /// `out` may be the same block.
    virtual unsigned long long DecodeData(void const* in, unsigned long long inSize, void* out,
                                          unsigned long long outSize) = 0;

    /// True if GetDecodedSize has to see the stored bytes; false if their number is enough.
    virtual bool IsDecodedSizeFromData() = 0;

    /// Size of the decoded data in bytes; 0 if there will be none. `in` is null if IsDecodedSizeFromData is false.
    virtual unsigned long long GetDecodedSize(void const* in, unsigned long long inSize) = 0;
};
} // namespace qk3d
