// QK3DTextureStateTable.inl: the one list of stage states. Define ROW, then include this; it undefines ROW at its end.
// The rows stand in the order of the setters in CRenderSystem; the numbers are those of CTextureState::EState.
// The fourth column says how a script gives the value: each use puts its own prefix before it (Read, Print, ...).
// The words are tables of QK3DStateWords.h.
//  number name             setter           script value
ROW(1,     COLOROP,         ColorOP,         Word<kTextureOpWords>)
ROW(16,    COLORARG0,       ColorARG0,       Word<kTextureArgWords>)
ROW(2,     COLORARG1,       ColorARG1,       Word<kTextureArgWords>)
ROW(3,     COLORARG2,       ColorARG2,       Word<kTextureArgWords>)
ROW(4,     ALPHAOP,         AlphaOP,         Word<kTextureOpWords>)
ROW(17,    ALPHAARG0,       AlphaARG0,       Word<kTextureArgWords>)
ROW(5,     ALPHAARG1,       AlphaARG1,       Word<kTextureArgWords>)
ROW(6,     ALPHAARG2,       AlphaARG2,       Word<kTextureArgWords>)
ROW(18,    RESULTARG,       ResultARG,       Word<kTextureArgWords>)
ROW(7,     BUMPENVMAT00,    BumpEnvMat00,    Float)
ROW(8,     BUMPENVMAT01,    BumpEnvMat01,    Float)
ROW(9,     BUMPENVMAT10,    BumpEnvMat10,    Float)
ROW(10,    BUMPENVMAT11,    BumpEnvMat11,    Float)
ROW(11,    TEXCOORDINDEX,   TexCoordIndex,   Word<kTexCoordWords>)
ROW(12,    BUMPENVLSCALE,   BumpEnvLScale,   Float)
ROW(13,    BUMPENVLOFFSET,  BumpEnvLOffset,  Float)
ROW(14,    TRANSFORMFLAGS,  TransformFlags,  Flags<kTransformFlagWords>)
ROW(15,    TRANSFORMMATRIX, TransformMatrix, Matrix)
ROW(19,    CONSTANT,        Constant,        Colour)
#undef ROW
