#ifndef TINYALSA_ASOUNDLIB_H
#define TINYALSA_ASOUNDLIB_H

#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#endif
