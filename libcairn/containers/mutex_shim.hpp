// TEMPORARY stand-in for the library mutex until it lands; removed at merge.
#pragma once
typedef struct ox_mutex ox_mutex;
extern "C" {
ox_mutex *ox_mutex_new(void);
int ox_mutex_lock(ox_mutex *m);
int ox_mutex_unlock(ox_mutex *m);
int ox_event_destroy(void *m);
}
