// QK3DPixelFormatTable.inl: the one list of pixel formats.
//
// flags:  1 alpha, 2 compressed, 4 floating point, 8 depth, 16 packed into one native integer, 32 luminance
// bits:   of red (or luminance), green, blue, alpha
// order:  the channels of a packed format from the highest bit to the lowest ("" where the format is not packed);
//         X is unused room that stands in the row as an alpha mask of 0 bits
// names:  what scripts call the format, and a second such name or ""
//
//  number  format                bytes flags  component     count  R   G   B   A   order   script name     alias
ROW(0,      PF_UNKNOWN,           0,    0,     PCT_BYTE,     0,     0,  0,  0,  0,  "",     "UNKNOWN",      "")
ROW(1,      PF_L8,                1,    48,    PCT_BYTE,     1,     8,  0,  0,  0,  "R",    "L8",           "BYTEL")
ROW(2,      PF_L16,               2,    48,    PCT_SHORT,    1,     16, 0,  0,  0,  "R",    "L16",          "SHORTL")
ROW(3,      PF_A8,                1,    17,    PCT_BYTE,     1,     0,  0,  0,  8,  "A",    "A8",           "BYTEA")
ROW(4,      PF_A4L4,              1,    49,    PCT_BYTE,     2,     4,  0,  0,  4,  "AR",   "A4L4",         "")
ROW(5,      PF_BYTE_LA,           2,    33,    PCT_BYTE,     2,     8,  0,  0,  8,  "",     "BYTELA",       "")
ROW(6,      PF_R5G6B5,            2,    16,    PCT_BYTE,     3,     5,  6,  5,  0,  "RGB",  "R5G6B5",       "")
ROW(7,      PF_B5G6R5,            2,    16,    PCT_BYTE,     3,     5,  6,  5,  0,  "BGR",  "B5G6R5",       "")
ROW(8,      PF_A4R4G4B4,          2,    17,    PCT_BYTE,     4,     4,  4,  4,  4,  "ARGB", "A4R4G4B4",     "")
ROW(9,      PF_A1R5G5B5,          2,    17,    PCT_BYTE,     4,     5,  5,  5,  1,  "ARGB", "A1R5G5B5",     "")
ROW(10,     PF_R8G8B8,            3,    16,    PCT_BYTE,     3,     8,  8,  8,  0,  "RGB",  "R8G8B8",       "BYTERGB")
ROW(11,     PF_B8G8R8,            3,    16,    PCT_BYTE,     3,     8,  8,  8,  0,  "BGR",  "B8G8R8",       "BYTEBGR")
ROW(12,     PF_A8R8G8B8,          4,    17,    PCT_BYTE,     4,     8,  8,  8,  8,  "ARGB", "A8R8G8B8",     "")
ROW(13,     PF_A8B8G8R8,          4,    17,    PCT_BYTE,     4,     8,  8,  8,  8,  "ABGR", "A8B8G8R8",     "")
ROW(14,     PF_B8G8R8A8,          4,    17,    PCT_BYTE,     4,     8,  8,  8,  8,  "BGRA", "B8G8R8A8",     "BYTEBGRA")
ROW(15,     PF_A2R10G10B10,       4,    17,    PCT_BYTE,     4,     10, 10, 10, 2,  "ARGB", "A2R10G10B10",  "")
ROW(16,     PF_A2B10G10R10,       4,    17,    PCT_BYTE,     4,     10, 10, 10, 2,  "ABGR", "A2B10G10R10",  "")
ROW(17,     PF_DXT1,              0,    3,     PCT_BYTE,     3,     0,  0,  0,  0,  "",     "DXT1",         "")
ROW(18,     PF_DXT2,              0,    3,     PCT_BYTE,     4,     0,  0,  0,  0,  "",     "DXT2",         "")
ROW(19,     PF_DXT3,              0,    3,     PCT_BYTE,     4,     0,  0,  0,  0,  "",     "DXT3",         "")
ROW(20,     PF_DXT4,              0,    3,     PCT_BYTE,     4,     0,  0,  0,  0,  "",     "DXT4",         "")
ROW(21,     PF_DXT5,              0,    3,     PCT_BYTE,     4,     0,  0,  0,  0,  "",     "DXT5",         "")
ROW(22,     PF_FLOAT16_RGB,       6,    4,     PCT_FLOAT16,  3,     16, 16, 16, 0,  "",     "FLOAT16RGB",   "")
ROW(23,     PF_FLOAT16_RGBA,      8,    5,     PCT_FLOAT16,  4,     16, 16, 16, 16, "",     "FLOAT16RGBA",  "")
ROW(24,     PF_FLOAT32_RGB,       12,   4,     PCT_FLOAT32,  3,     32, 32, 32, 0,  "",     "FLOAT32RGB",   "")
ROW(25,     PF_FLOAT32_RGBA,      16,   5,     PCT_FLOAT32,  4,     32, 32, 32, 32, "",     "FLOAT32RGBA",  "")
ROW(26,     PF_X8R8G8B8,          4,    16,    PCT_BYTE,     3,     8,  8,  8,  0,  "XRGB", "X8R8G8B8",     "")
ROW(27,     PF_X8B8G8R8,          4,    16,    PCT_BYTE,     3,     8,  8,  8,  0,  "XBGR", "X8B8G8R8",     "")
ROW(28,     PF_R8G8B8A8,          4,    17,    PCT_BYTE,     4,     8,  8,  8,  8,  "RGBA", "R8G8B8A8",     "BYTERGBA")
ROW(29,     PF_DEPTH,             4,    8,     PCT_FLOAT32,  1,     0,  0,  0,  0,  "",     "DEPTH",        "")
ROW(30,     PF_SHORT_RGBA,        8,    1,     PCT_SHORT,    4,     16, 16, 16, 16, "",     "SHORTRGBA",    "")
ROW(31,     PF_R3G3B2,            1,    16,    PCT_BYTE,     3,     3,  3,  2,  0,  "RGB",  "R3G3B2",       "")
ROW(32,     PF_FLOAT16_R,         2,    4,     PCT_FLOAT16,  1,     16, 0,  0,  0,  "",     "FLOAT16R",     "")
ROW(33,     PF_FLOAT32_R,         4,    4,     PCT_FLOAT32,  1,     32, 0,  0,  0,  "",     "FLOAT32R",     "")
ROW(34,     PF_SHORT_GR,          4,    16,    PCT_SHORT,    2,     16, 16, 0,  0,  "GR",   "SHORTGR",      "")
ROW(35,     PF_FLOAT16_GR,        4,    4,     PCT_FLOAT16,  2,     16, 16, 0,  0,  "",     "FLOAT16GR",    "")
ROW(36,     PF_FLOAT32_GR,        8,    4,     PCT_FLOAT32,  2,     32, 32, 0,  0,  "",     "FLOAT32GR",    "")
ROW(37,     PF_SHORT_RGB,         6,    0,     PCT_SHORT,    3,     16, 16, 16, 0,  "",     "SHORTRGB",     "")
ROW(38,     PF_PVRTC_RGB2,        0,    2,     PCT_BYTE,     3,     0,  0,  0,  0,  "",     "PVRTCRGB2",    "")
ROW(39,     PF_PVRTC_RGBA2,       0,    3,     PCT_BYTE,     4,     0,  0,  0,  0,  "",     "PVRTCRGBA2",   "")
ROW(40,     PF_PVRTC_RGB4,        0,    2,     PCT_BYTE,     3,     0,  0,  0,  0,  "",     "PVRTCRGB4",    "")
ROW(41,     PF_PVRTC_RGBA4,       0,    3,     PCT_BYTE,     4,     0,  0,  0,  0,  "",     "PVRTCRGBA4",   "")
#undef ROW
