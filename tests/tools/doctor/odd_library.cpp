// A library that is not the converter's, by what it exports; nobody calls it.

#define ZEL_EXPORT __attribute__((visibility("default")))

extern "C" {
ZEL_EXPORT extern const void* pcm_plugin_ops[16];
const void* pcm_plugin_ops[16] = {};
ZEL_EXPORT extern const void* mixer_plugin_ops[4];
const void* mixer_plugin_ops[4] = {};
}
