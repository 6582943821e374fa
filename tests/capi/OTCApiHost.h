#pragma once

/* A host written in C11 against corvane_ostrel.h alone, driven by OTCApiTest. */
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What the banner callback received. */
typedef struct ot_capi_banners {
    int calls;
    char text[4096];
    int was_null;
} ot_capi_banners;

/* The records a listener received: how many, and the last one's JSON. */
typedef struct ot_capi_records {
    int calls;
    char last[16384];
} ot_capi_records;
/* Listens for decision records into `decisions`; NULL stops listening. */
void ot_capi_listen_for_decisions(ot_capi_records* decisions);
/* Listens for report records into `reports`; NULL stops listening. */
void ot_capi_listen_for_reports(ot_capi_records* reports);

/* What a host drawing for itself keeps: the surfaces shown now, each with its latest JSON. */
#define OT_CAPI_MAX_SURFACES 8
typedef struct ot_capi_screen {
    int shows;
    int dismisses;
    int overflowed; /* a surface did not fit or a text could not be kept */
    size_t count;
    uint64_t ids[OT_CAPI_MAX_SURFACES];
    char* texts[OT_CAPI_MAX_SURFACES];
    /* With `follows_links` set the host performs each navigation: it shows the page named and
     * reports it back. The navigations it was handed, and the last one's JSON. */
    int follows_links;
    int navigations;
    char last_navigation[1024];
} ot_capi_screen;

/* The host's main loop without polling: the library wakes it when it has main-thread work. */
void ot_capi_wake_on_work(void);
/* Sleeps until the library wakes the host (at most `timeout_seconds`), then runs the main queue;
 * whether it was woken. */
int ot_capi_wait_and_run(int timeout_seconds);
/* Takes the waker away; how often it woke the host. */
int ot_capi_stop_waking(void);

/* Installs a presenter that keeps `screen` up to date; 0 on success. */
int ot_capi_present(ot_capi_screen* screen);
/* Declares the host's page "DetailVC" with the properties "id" and "name"; its status. */
int ot_capi_register_pages(void);
/* The JSON of a shown surface, or NULL. */
const char* ot_capi_surface(const ot_capi_screen* screen, uint64_t id);
/* Stops presenting and frees what `screen` keeps. */
void ot_capi_forget(ot_capi_screen* screen);
/* Hands the engine of `group` an analytics event given as JSON; its status. */
int ot_capi_event(const char* group, const char* event_json);

/* A picture the host asked the library for: how many answers, and the last one's bytes. */
typedef struct ot_capi_picture {
    int calls;
    int was_null;
    size_t length;
    unsigned char head[8];
} ot_capi_picture;
/* Asks for the picture at `url` into `picture`; its status. */
int ot_capi_ask_picture(const char* url, ot_capi_picture* picture);

/* Every refusal of bad input, checked in turn: 0 when each gave its documented status, otherwise
 * the number of the first check that did not. */
int ot_capi_bad_input(void);
/* Observes `group`, gives the profile of user "u1" and starts against `server_url`; 0 on success. */
int ot_capi_start(const char* group, const char* server_url);
/* Sends a purchase of `price` and asks for the banners of "home_top" into `banners`. */
int ot_capi_purchase_and_banners(const char* group, int price, ot_capi_banners* banners);

#ifdef __cplusplus
}
#endif
