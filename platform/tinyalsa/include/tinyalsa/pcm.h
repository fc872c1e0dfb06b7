/* PCM streams of plugin cards: opening, reading, parameters, positions. */
#ifndef TINYALSA_PCM_H
#define TINYALSA_PCM_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PCM_OUT 0x00000000
#define PCM_IN 0x10000000
#define PCM_MMAP 0x00000001
#define PCM_NOIRQ 0x00000002
#define PCM_NORESTART 0x00000004
#define PCM_MONOTONIC 0x00000008
#define PCM_NONBLOCK 0x00000010

enum pcm_format {
    PCM_FORMAT_INVALID = -1,
    PCM_FORMAT_S16_LE = 0,
    PCM_FORMAT_S32_LE,
    PCM_FORMAT_S8,
    PCM_FORMAT_S24_LE,
    PCM_FORMAT_S24_3LE,
    PCM_FORMAT_S16_BE,
    PCM_FORMAT_S24_BE,
    PCM_FORMAT_S24_3BE,
    PCM_FORMAT_S32_BE,
    PCM_FORMAT_FLOAT_LE,
    PCM_FORMAT_FLOAT_BE,
    PCM_FORMAT_MAX
};

struct pcm_config {
    unsigned int channels;
    unsigned int rate;         /* Hz */
    unsigned int period_size;  /* frames */
    unsigned int period_count;
    enum pcm_format format;
    unsigned long start_threshold; /* frames, as all below */
    unsigned long stop_threshold;
    unsigned long silence_threshold;
    unsigned long silence_size;
    unsigned long avail_min;
};

enum pcm_param {
    PCM_PARAM_ACCESS,
    PCM_PARAM_FORMAT,
    PCM_PARAM_SUBFORMAT,
    PCM_PARAM_SAMPLE_BITS,
    PCM_PARAM_FRAME_BITS,
    PCM_PARAM_CHANNELS,
    PCM_PARAM_RATE,
    PCM_PARAM_PERIOD_TIME,
    PCM_PARAM_PERIOD_SIZE,
    PCM_PARAM_PERIOD_BYTES,
    PCM_PARAM_PERIODS,
    PCM_PARAM_BUFFER_TIME,
    PCM_PARAM_BUFFER_SIZE,
    PCM_PARAM_BUFFER_BYTES,
    PCM_PARAM_TICK_TIME
};

struct pcm;
struct pcm_params;

/* Never null except when memory is exhausted: ask pcm_is_ready, then pcm_get_error. */
struct pcm *pcm_open(unsigned int card, unsigned int device, unsigned int flags,
                     const struct pcm_config *config);
int pcm_close(struct pcm *pcm);
int pcm_is_ready(const struct pcm *pcm);
const char *pcm_get_error(const struct pcm *pcm);

unsigned int pcm_get_channels(const struct pcm *pcm);
unsigned int pcm_get_rate(const struct pcm *pcm);
enum pcm_format pcm_get_format(const struct pcm *pcm);
unsigned int pcm_get_buffer_size(const struct pcm *pcm);
const struct pcm_config *pcm_get_config(const struct pcm *pcm);
unsigned int pcm_format_to_bits(enum pcm_format format);
unsigned int pcm_frames_to_bytes(const struct pcm *pcm, unsigned int frames);
unsigned int pcm_bytes_to_frames(const struct pcm *pcm, unsigned int bytes);

/* Frames read, or -1 with errno set. */
int pcm_readi(struct pcm *pcm, void *data, unsigned int frame_count);
int pcm_get_htimestamp(struct pcm *pcm, unsigned int *avail, struct timespec *tstamp);
int pcm_prepare(struct pcm *pcm);
int pcm_start(struct pcm *pcm);
int pcm_stop(struct pcm *pcm);
int pcm_drain(struct pcm *pcm);
int pcm_wait(struct pcm *pcm, int timeout);

struct pcm_params *pcm_params_get(unsigned int card, unsigned int device, unsigned int flags);
void pcm_params_free(struct pcm_params *params);
unsigned int pcm_params_get_min(const struct pcm_params *params, enum pcm_param param);
unsigned int pcm_params_get_max(const struct pcm_params *params, enum pcm_param param);
int pcm_params_format_test(struct pcm_params *params, enum pcm_format format);

#ifdef __cplusplus
}
#endif

#endif
