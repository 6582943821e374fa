/* POSIX threads for the host's main loop: the sanitizers see their locks. */
#define _POSIX_C_SOURCE 200809L

#include "OTCApiHost.h"

#include <corvane/corvane_ostrel.h>
#include <math.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static void on_banners(void* user, const char* banners_json) {
    ot_capi_banners* banners = (ot_capi_banners*)user;
    banners->calls += 1;
    banners->was_null = banners_json == NULL;
    if (banners_json != NULL) {
        strncpy(banners->text, banners_json, sizeof banners->text - 1);
        banners->text[sizeof banners->text - 1] = '\0';
    }
}

static void on_record(void* user, const char* record_json) {
    ot_capi_records* records = (ot_capi_records*)user;
    records->calls++;
    snprintf(records->last, sizeof records->last, "%s", record_json);
}

void ot_capi_listen_for_decisions(ot_capi_records* decisions) {
    corvane_set_decision_listener(decisions != NULL ? on_record : NULL, decisions);
}

void ot_capi_listen_for_reports(ot_capi_records* reports) {
    corvane_set_report_listener(reports != NULL ? on_record : NULL, reports);
}

static void on_show(void* user, uint64_t surface, const char* surface_json) {
    ot_capi_screen* screen = (ot_capi_screen*)user;
    size_t length = strlen(surface_json);
    char* copy = (char*)malloc(length + 1);
    size_t i = 0;
    screen->shows += 1;
    if (copy == NULL) {
        screen->overflowed = 1;
        return;
    }
    memcpy(copy, surface_json, length + 1);
    while (i < screen->count && screen->ids[i] != surface) ++i;
    if (i == screen->count) {
        if (screen->count == OT_CAPI_MAX_SURFACES) {
            screen->overflowed = 1;
            free(copy);
            return;
        }
        screen->ids[i] = surface;
        screen->texts[i] = NULL;
        screen->count += 1;
    }
    free(screen->texts[i]);
    screen->texts[i] = copy;
}

static void on_dismiss(void* user, uint64_t surface) {
    ot_capi_screen* screen = (ot_capi_screen*)user;
    size_t i = 0;
    screen->dismisses += 1;
    while (i < screen->count && screen->ids[i] != surface) ++i;
    if (i == screen->count) return;
    free(screen->texts[i]);
    screen->count -= 1;
    screen->ids[i] = screen->ids[screen->count];
    screen->texts[i] = screen->texts[screen->count];
}

/* A page navigation's class name, read from its JSON text into `page`. */
static int page_of(const char* navigation_json, char* page, size_t size) {
    const char* at = strstr(navigation_json, "\"page\":\"");
    size_t length = 0;
    if (at == NULL) return 0;
    at += strlen("\"page\":\"");
    while (at[length] != '\0' && at[length] != '"' && length + 1 < size) ++length;
    memcpy(page, at, length);
    page[length] = '\0';
    return length > 0;
}

static void on_navigate(void* user, const char* navigation_json) {
    ot_capi_screen* screen = (ot_capi_screen*)user;
    char page[128];
    screen->navigations += 1;
    snprintf(screen->last_navigation, sizeof screen->last_navigation, "%s", navigation_json);
    /* Shown at once, from inside the library's own call, as a host with nothing to animate would. */
    if (screen->follows_links && page_of(navigation_json, page, sizeof page)) corvane_page_shown(page);
}

/* The host's main loop sleeps until the library wakes it. */
static pthread_mutex_t wake_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t wake_signal = PTHREAD_COND_INITIALIZER;
static int woken;
static int wakes;

static void on_wake(void* user) {
    (void)user;
    pthread_mutex_lock(&wake_mutex);
    woken = 1;
    wakes += 1;
    pthread_cond_signal(&wake_signal);
    pthread_mutex_unlock(&wake_mutex);
}

void ot_capi_wake_on_work(void) {
    pthread_mutex_lock(&wake_mutex);
    woken = 0;
    wakes = 0;
    pthread_mutex_unlock(&wake_mutex);
    corvane_set_main_queue_waker(on_wake, NULL);
}

int ot_capi_wait_and_run(int timeout_seconds) {
    struct timespec deadline;
    int was_woken = 0;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += timeout_seconds;
    pthread_mutex_lock(&wake_mutex);
    while (!woken && pthread_cond_timedwait(&wake_signal, &wake_mutex, &deadline) == 0) {}
    was_woken = woken;
    woken = 0;
    pthread_mutex_unlock(&wake_mutex);
    if (was_woken) corvane_run_main_queue();
    return was_woken;
}

int ot_capi_stop_waking(void) {
    int count = 0;
    corvane_set_main_queue_waker(NULL, NULL);
    pthread_mutex_lock(&wake_mutex);
    count = wakes;
    pthread_mutex_unlock(&wake_mutex);
    return count;
}

int ot_capi_present(ot_capi_screen* screen) {
    corvane_presenter presenter;
    presenter.user = screen;
    presenter.show = on_show;
    presenter.dismiss = on_dismiss;
    presenter.navigate = screen->follows_links ? on_navigate : NULL;
    return corvane_set_presenter(&presenter) == CORVANE_OK ? 0 : 1;
}

int ot_capi_register_pages(void) { return corvane_register_page("DetailVC", "[\"id\",\"name\"]"); }

const char* ot_capi_surface(const ot_capi_screen* screen, uint64_t id) {
    size_t i = 0;
    for (; i < screen->count; ++i) {
        if (screen->ids[i] == id) return screen->texts[i];
    }
    return NULL;
}

void ot_capi_forget(ot_capi_screen* screen) {
    size_t i = 0;
    corvane_set_presenter(NULL);
    for (; i < screen->count; ++i) free(screen->texts[i]);
    screen->count = 0;
}

static void on_picture(void* user, const uint8_t* bytes, size_t length) {
    ot_capi_picture* picture = (ot_capi_picture*)user;
    picture->calls += 1;
    picture->was_null = bytes == NULL;
    picture->length = length;
    memset(picture->head, 0, sizeof picture->head);
    if (bytes != NULL) memcpy(picture->head, bytes, length < sizeof picture->head ? length : sizeof picture->head);
}

int ot_capi_ask_picture(const char* url, ot_capi_picture* picture) { return corvane_picture(url, on_picture, picture); }

int ot_capi_event(const char* group, const char* event_json) {
    corvane_observer* observer = corvane_observer_get(group);
    int status = corvane_observer_event(observer, event_json);
    corvane_observer_release(observer);
    return status;
}

/* One check: the call must give the status, or the check's number is returned. */
#define CHECK(call, status)                   \
    do {                                      \
        ++check;                              \
        if ((call) != (status)) return check; \
    } while (0)

int ot_capi_bad_input(void) {
    corvane_observer* observer = corvane_observer_get("group.capi");
    double width = 0;
    double height = 0;
    char deep[201];
    int check = 0;
    CHECK(corvane_observer_get(NULL), NULL);
    CHECK(corvane_observer_event(NULL, "{}"), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_observer_event(observer, NULL), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_observer_event(observer, "{\"xwhat\":"), CORVANE_ERROR_INVALID_JSON);
    CHECK(corvane_observer_event(observer, "[1,2]"), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_observer_event(observer, ""), CORVANE_ERROR_INVALID_JSON);
    CHECK(corvane_observer_profile(observer, "\"u1\""), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_observer_profile_value(observer, NULL, "1"), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_observer_profile_value(observer, "age", "{"), CORVANE_ERROR_INVALID_JSON);
    CHECK(corvane_start(NULL), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_start("{\"appKey\":5}"), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_start("{\"envType\":-1}"), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_push_track(1, "{}", NULL), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_push_token_bytes(NULL, 32, 0, "group.capi"), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_push_token_text("abc", 1, NULL), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_banner_size("home_top", NULL, &height), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_banner_size(NULL, &width, &height), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_get_banner("home_top", NULL, NULL), CORVANE_ERROR_NULL_ARGUMENT);
    /* A hundred levels, balanced: deeper than the library takes, so malformed. */
    memset(deep, '[', 100);
    memset(deep + 100, ']', 100);
    deep[200] = '\0';
    CHECK(corvane_observer_event(observer, deep), CORVANE_ERROR_INVALID_JSON);
    CHECK(strcmp(corvane_sdk_version(), "") != 0, 1);
    CHECK(corvane_set_text_scale(NAN), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_set_text_scale(1.0), CORVANE_OK);
    CHECK(corvane_set_close_label(NULL), CORVANE_OK);
    CHECK(corvane_register_page(NULL, NULL), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_register_page("", NULL), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_register_page("Page", "[\"id\","), CORVANE_ERROR_INVALID_JSON);
    CHECK(corvane_register_page("Page", "{\"id\":1}"), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_register_page("Page", "[\"id\",2]"), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_page_shown(NULL), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_page_shown(""), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_picture(NULL, on_picture, NULL), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_picture("https://example.com/a.png", NULL, NULL), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_http_answer(12345, 200, NULL, 0), CORVANE_ERROR_NOT_FOUND);
    CHECK(corvane_http_answer(12345, 200, NULL, 4), CORVANE_ERROR_NULL_ARGUMENT);
    CHECK(corvane_http_answer(12345, 42, NULL, 0), CORVANE_ERROR_INVALID_ARGUMENT);
    CHECK(corvane_http_fail(12345, -1009, NULL), CORVANE_ERROR_NOT_FOUND);
    corvane_set_http_transport(NULL, NULL);
    corvane_set_main_queue_waker(NULL, NULL);
    {
        corvane_presenter no_show = {NULL, NULL, NULL, NULL};
        uint64_t surface = 0;
        CHECK(corvane_set_presenter(&no_show), CORVANE_ERROR_NULL_ARGUMENT);
        CHECK(corvane_set_presenter(NULL), CORVANE_OK);
        CHECK(corvane_tap(0), CORVANE_ERROR_NOT_FOUND);
        CHECK(corvane_tap(UINT64_MAX), CORVANE_ERROR_NOT_FOUND);
        CHECK(corvane_scroll(12345, 10, 0), CORVANE_ERROR_NOT_FOUND);
        CHECK(corvane_load_banner(NULL, 390, 120, 0, &surface, NULL, NULL), CORVANE_ERROR_NULL_ARGUMENT);
        CHECK(corvane_load_banner("home_top", 390, 120, 0, NULL, NULL, NULL), CORVANE_ERROR_NULL_ARGUMENT);
        CHECK(corvane_load_banner("home_top", -1, 120, 0, &surface, NULL, NULL), CORVANE_ERROR_INVALID_ARGUMENT);
        CHECK(corvane_load_banner("home_top", 390, NAN, 0, &surface, NULL, NULL), CORVANE_ERROR_INVALID_ARGUMENT);
        CHECK(corvane_release_banner(surface), CORVANE_ERROR_NOT_FOUND);
    }
    corvane_observer_release(NULL);
    corvane_observer_release(observer);
    return 0;
}

int ot_capi_start(const char* group, const char* server_url) {
    char config[512];
    corvane_observer* observer = corvane_observer_get(group);
    if (observer == NULL) return 1;
    if (corvane_observer_profile(observer, "{\"xwho\":\"u1\",\"calibration_time\":0}") != CORVANE_OK) return 2;
    snprintf(config, sizeof config,
             "{\"appKey\":\"capi-key\",\"mainPage\":\"HomeVC\",\"url\":\"%s\",\"applicationGroupIdentifier\":\"%s\"}",
             server_url, group);
    if (corvane_start(config) != CORVANE_OK) return 3;
    corvane_observer_release(observer);
    return 0;
}

int ot_capi_purchase_and_banners(const char* group, int price, ot_capi_banners* banners) {
    char event[256];
    corvane_observer* observer = corvane_observer_get(group);
    if (observer == NULL) return 1;
    snprintf(event, sizeof event, "{\"source\":0,\"xwhat\":\"purchase\",\"xwho\":\"u1\",\"xcontext\":{\"price\":%d}}",
             price);
    if (corvane_observer_event(observer, event) != CORVANE_OK) return 2;
    if (corvane_get_banner("home_top", on_banners, banners) != CORVANE_OK) return 3;
    corvane_observer_release(observer);
    return 0;
}
