// Libraries that are not the converter's, by what they export; nobody calls them.

#define ZEL_EXPORT __attribute__((visibility("default")))

extern "C" {
ZEL_EXPORT extern const void* pcm_plugin_ops[ZEL_OPERATIONS];
const void* pcm_plugin_ops[ZEL_OPERATIONS] = {};
ZEL_EXPORT extern const void* mixer_plugin_ops[4];
const void* mixer_plugin_ops[4] = {};
#ifdef ZEL_WITH_FILTER
ZEL_EXPORT extern const float res_coeff;
const float res_coeff = 0;
ZEL_EXPORT extern const int res_order;
const int res_order = 0;
#endif
}
