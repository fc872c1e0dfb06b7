// A host program as one outside this project would write it: records one block from card 70.
#include <stdint.h>
#include <stdio.h>
#include <tinyalsa/asoundlib.h>

int main(void) {
    int16_t block[2 * 512];
    struct pcm_config config = {0};
    config.channels = 2;
    config.rate = 16000;
    config.period_size = 512;
    config.period_count = 4;
    config.format = PCM_FORMAT_S16_LE;
    struct pcm *stream = pcm_open(70, 70, PCM_IN, &config);
    struct mixer *mixer = mixer_open(70);
    const int frames = pcm_is_ready(stream) ? pcm_readi(stream, block, 512) : -1;
    printf("%d frames, control 2 is \"%s\"\n", frames,
           mixer == NULL ? "" : mixer_ctl_get_name(mixer_get_ctl(mixer, 2)));
    mixer_close(mixer);
    pcm_close(stream);
    return frames == 512 ? 0 : 1;
}
