// FuzzTargetTable.inl: the one list of fuzz targets: the build, the replay test and tests/fuzz/run read it. A target has a
// folder of that name in corpus/.
TARGET(RenderState)
TARGET(SamplerState)
TARGET(TextureState)
TARGET(Material)
TARGET(Overlay)
TARGET(Text)
TARGET(Path)
TARGET(Image)
TARGET(Model)
TARGET(ModelScene)
TARGET(Package)
#undef TARGET
