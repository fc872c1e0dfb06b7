/* Mixer controls of plugin cards. */
#ifndef TINYALSA_MIXER_H
#define TINYALSA_MIXER_H

#include <stddef.h>
#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

struct mixer;
struct mixer_ctl;

enum mixer_ctl_type {
    MIXER_CTL_TYPE_BOOL,
    MIXER_CTL_TYPE_INT,
    MIXER_CTL_TYPE_ENUM,
    MIXER_CTL_TYPE_BYTE,
    MIXER_CTL_TYPE_IEC958,
    MIXER_CTL_TYPE_INT64,
    MIXER_CTL_TYPE_UNKNOWN,
    MIXER_CTL_TYPE_MAX
};

enum mixer_ctl_event_type { MIXER_CTL_EVENT_ELEM = 0 };

/* The layout of the kernel's snd_ctl_event. */
struct mixer_ctl_event {
    int type;
    union {
        struct {
            unsigned int mask;
            struct {
                unsigned int numid;
                int iface;
                unsigned int device;
                unsigned int subdevice;
                unsigned char name[44];
                unsigned int index;
            } id;
        } element;
        unsigned char data[60];
    } data;
};

struct mixer *mixer_open(unsigned int card);
void mixer_close(struct mixer *mixer);
const char *mixer_get_name(const struct mixer *mixer);
unsigned int mixer_get_num_ctls(const struct mixer *mixer);
unsigned int mixer_get_num_ctls_by_name(const struct mixer *mixer, const char *name);
struct mixer_ctl *mixer_get_ctl(struct mixer *mixer, unsigned int id);
struct mixer_ctl *mixer_get_ctl_by_name(struct mixer *mixer, const char *name);

/* 0, or a negative error number. */
int mixer_subscribe_events(struct mixer *mixer, int subscribe);
/* 1 when an event is pending, 0 on time-out, or a negative error number. */
int mixer_wait_event(struct mixer *mixer, int timeout);
/* 1 with the event filled in, 0 when none was there, or a negative error number. */
int mixer_read_event(struct mixer *mixer, struct mixer_ctl_event *event);
int mixer_consume_event(struct mixer *mixer);

unsigned int mixer_ctl_get_id(const struct mixer_ctl *ctl);
const char *mixer_ctl_get_name(const struct mixer_ctl *ctl);
enum mixer_ctl_type mixer_ctl_get_type(const struct mixer_ctl *ctl);
const char *mixer_ctl_get_type_string(const struct mixer_ctl *ctl);
unsigned int mixer_ctl_get_num_values(const struct mixer_ctl *ctl);
unsigned int mixer_ctl_get_num_enums(const struct mixer_ctl *ctl);
const char *mixer_ctl_get_enum_string(struct mixer_ctl *ctl, unsigned int enum_id);
int mixer_ctl_is_access_tlv_rw(const struct mixer_ctl *ctl);
int mixer_ctl_get_value(const struct mixer_ctl *ctl, unsigned int id);
int mixer_ctl_get_array(const struct mixer_ctl *ctl, void *array, size_t count);
int mixer_ctl_set_value(struct mixer_ctl *ctl, unsigned int id, int value);
int mixer_ctl_set_array(struct mixer_ctl *ctl, const void *array, size_t count);
int mixer_ctl_set_enum_by_string(struct mixer_ctl *ctl, const char *string);
int mixer_ctl_get_range_min(const struct mixer_ctl *ctl);
int mixer_ctl_get_range_max(const struct mixer_ctl *ctl);

#ifdef __cplusplus
}
#endif

#endif
