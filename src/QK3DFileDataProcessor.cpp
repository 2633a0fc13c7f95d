// QK3DFileDataProcessor.cpp: the home of the processor's class tables.
#include "QK3DFileDataProcessor.h"

namespace qk3d {
CFileDataProcessor::~CFileDataProcessor() = default;
} // namespace qk3d
