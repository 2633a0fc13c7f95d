// TestPluginNeed.cpp: a library that a plug-in depends on.
extern "C" __attribute__((visibility("default"))) int NeededNumber() { return 17; }
