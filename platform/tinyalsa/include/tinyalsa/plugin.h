/* What a plugin card implements and what a card definition offers. */
#ifndef TINYALSA_PLUGIN_H
#define TINYALSA_PLUGIN_H

#include <poll.h>
#include <pthread.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/types.h>
#include <time.h>

#include <sound/asound.h>

struct mixer_plugin;
struct pcm_plugin;

typedef void (*mixer_event_callback)(struct mixer_plugin *);

struct pcm_plugin_min_max {
    unsigned int min;
    unsigned int max;
};

struct pcm_plugin_hw_constraints {
    uint64_t access; /* masks of the kernel's access and format numbers */
    uint64_t format;
    struct pcm_plugin_min_max bit_width;
    struct pcm_plugin_min_max channels;
    struct pcm_plugin_min_max rate;
    struct pcm_plugin_min_max periods;
    struct pcm_plugin_min_max period_bytes;
};

#define PCM_PLUG_STATE_OPEN 0
#define PCM_PLUG_STATE_SETUP 1
#define PCM_PLUG_STATE_PREPARED 2
#define PCM_PLUG_STATE_RUNNING 3

struct pcm_plugin {
    unsigned int card;
    unsigned int device;
    struct pcm_plugin_hw_constraints *constraints;
    int mode; /* the flags of the open */
    void *priv;
    unsigned int state;
};

/* Found in the plugin under the name pcm_plugin_ops. A failing operation sets errno. */
struct pcm_plugin_ops {
    int (*open)(struct pcm_plugin **plugin, unsigned int card, unsigned int device,
                unsigned int flags);
    int (*close)(struct pcm_plugin *plugin);
    int (*hw_params)(struct pcm_plugin *plugin, struct snd_pcm_hw_params *params);
    int (*sw_params)(struct pcm_plugin *plugin, struct snd_pcm_sw_params *params);
    int (*sync_ptr)(struct pcm_plugin *plugin, struct snd_pcm_sync_ptr *sync_ptr);
    int (*writei_frames)(struct pcm_plugin *plugin, struct snd_xferi *x);
    int (*readi_frames)(struct pcm_plugin *plugin, struct snd_xferi *x);
    int (*ttstamp)(struct pcm_plugin *plugin, int *tstamp);
    int (*prepare)(struct pcm_plugin *plugin);
    int (*start)(struct pcm_plugin *plugin);
    int (*drain)(struct pcm_plugin *plugin);
    int (*drop)(struct pcm_plugin *plugin);
    int (*ioctl)(struct pcm_plugin *plugin, int cmd, void *arg);
    void *(*mmap)(struct pcm_plugin *plugin, void *addr, size_t length, int prot, int flags,
                  off_t offset);
    int (*munmap)(struct pcm_plugin *plugin, void *addr, size_t length);
    int (*poll)(struct pcm_plugin *plugin, struct pollfd *pfd, nfds_t nfds, int timeout);
};

struct snd_control {
    snd_ctl_elem_iface_t iface;
    unsigned int access;
    const char *name;
    snd_ctl_elem_type_t type;
    void *value; /* one of the value records below */
    int (*get)(struct mixer_plugin *plugin, struct snd_control *control,
               struct snd_ctl_elem_value *ev);
    int (*put)(struct mixer_plugin *plugin, struct snd_control *control,
               struct snd_ctl_elem_value *ev);
    uint32_t private_value;
    void *private_data;
};

struct snd_value_enum {
    unsigned int items;
    char **texts;
};

struct snd_value_bytes {
    unsigned int size;
};

struct snd_value_tlv_bytes {
    unsigned int size;
    int (*get)(struct mixer_plugin *plugin, struct snd_control *control, struct snd_ctl_tlv *tlv);
    int (*put)(struct mixer_plugin *plugin, struct snd_control *control, struct snd_ctl_tlv *tlv);
};

struct snd_value_int {
    unsigned int count;
    int min;
    int max;
    int step;
};

/* Made by the plugin; eventfd and mutex are the layer's, set after `open` has returned. */
struct mixer_plugin {
    unsigned int card;
    void *priv;
    int eventfd;
    int subscribed;
    int event_cnt;
    struct snd_control *controls;
    unsigned int num_controls;
    pthread_mutex_t mutex;
};

/* Found in the plugin under the name mixer_plugin_ops. */
struct mixer_plugin_ops {
    int (*open)(struct mixer_plugin **plugin, unsigned int card);
    void (*close)(struct mixer_plugin **plugin);
    int (*subscribe_events)(struct mixer_plugin *plugin, mixer_event_callback event_cb);
    ssize_t (*read_event)(struct mixer_plugin *plugin, struct snd_ctl_event *ev, size_t size);
};

/* Found in libsndcardparser.so under the name snd_card_ops. */
struct snd_node_ops {
    void *(*open_card)(unsigned int card);
    void (*close_card)(void *card);
    int (*get_int)(void *node, const char *prop, int *val);
    int (*get_str)(void *node, const char *prop, char **val);
    void *(*get_mixer)(void *card);
    void *(*get_pcm)(void *card, unsigned int id);
    void *reserved[4];
};

#endif
