// The one tinyalsa function that the stages call.

#include <tinyalsa/pcm.h>

unsigned int pcm_format_to_bits(pcm_format format) {
    return format == PCM_FORMAT_S32_LE || format == PCM_FORMAT_S24_LE ? 32
           : format == PCM_FORMAT_S24_3LE                             ? 24
                                                                      : 16;
}
