// QK3DSamplerStateTable.inl: the one list of sampler states. Define ROW, then include it; it undefines ROW at its end.
// The rows stand in the order of the setters in CRenderSystem; the numbers are those of CSamplerState::EState.
// The fourth column says how a script gives the value: each use puts its own prefix before it (Read, Print, ...).
// The words are tables of QK3DStateWords.h.
// SRGBTEXTURE is a float, not a boolean: "SRGBTEXTURE": 1.0 is the usual way to switch it on.
//  number name           setter         script value
ROW(1,     ADDRESSU,      AddressU,      Word<kAddressWords>)
ROW(2,     ADDRESSV,      AddressV,      Word<kAddressWords>)
ROW(3,     ADDRESSW,      AddressW,      Word<kAddressWords>)
ROW(4,     BORDERCOLOR,   BorderColor,   Colour)
ROW(5,     MAGFILTER,     MagFilter,     Word<kFilterWords>)
ROW(6,     MINFILTER,     MinFilter,     Word<kFilterWords>)
ROW(7,     MIPFILTER,     MipFilter,     Word<kFilterWords>)
ROW(8,     MIPMAPLODBIAS, MipmapLodBias, Float)
ROW(9,     MAXMIPLEVEL,   MaxMipLevel,   Unsigned)
ROW(10,    MAXANISOTROPY, MaxAnisotropy, Unsigned)
ROW(11,    SRGBTEXTURE,   SRGBTexture,   Float)
ROW(12,    ELEMENTINDEX,  ElementIndex,  Unsigned)
ROW(13,    DMAPOFFSET,    DMapOffset,    Unsigned)
#undef ROW
