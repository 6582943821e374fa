/*
 * CorvaneOstrel for hosts that are not C++ (JNI, Dart FFI, Python ctypes, C user interfaces): the
 * library's front door as plain C. Nothing of C++ crosses it: values go in as numbers and UTF-8
 * texts (JSON where the C++ front door takes JSON), engines as opaque handles, answers through
 * callbacks with a user pointer. No call throws or aborts.
 *
 * Bad input is answered with a status and otherwise ignored, as the C++ front door ignores it:
 *   CORVANE_ERROR_NULL_ARGUMENT     a handle or text that must be given is NULL;
 *   CORVANE_ERROR_INVALID_JSON      a JSON text does not parse (or nests deeper than the library
 *                                   takes);
 *   CORVANE_ERROR_INVALID_ARGUMENT  the JSON parses but is not the kind asked for (an object);
 *   CORVANE_ERROR_INTERNAL          the library failed inside; it logged why.
 *
 *   corvane_observer* observer = corvane_observer_get("group.com.example.app");
 *   corvane_start("{\"appKey\":\"your-app-key\",\"mainPage\":\"HomeVC\"}");
 *   corvane_observer_event(observer, "{\"source\":0,\"xwhat\":\"buy\",\"xcontext\":{\"price\":120}}");
 *   corvane_observer_release(observer);
 */
#ifndef CORVANE_OSTREL_H
#define CORVANE_OSTREL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum corvane_status {
    CORVANE_OK = 0,
    CORVANE_ERROR_NULL_ARGUMENT = 1,
    CORVANE_ERROR_INVALID_JSON = 2,
    CORVANE_ERROR_INVALID_ARGUMENT = 3,
    CORVANE_ERROR_INTERNAL = 4
} corvane_status;

/* The engine as the host's analytics SDK sees it. */
typedef struct corvane_observer corvane_observer;

/* The library's version text, e.g. "2.2.2"; static, never NULL. */
const char* corvane_sdk_version(void);

/* The engine for an app group (whose shared store keeps the per-user settings); NULL when
 * `group_identifier` is NULL. Each handle is released with corvane_observer_release; the engine
 * itself lives on. */
corvane_observer* corvane_observer_get(const char* group_identifier);
void corvane_observer_release(corvane_observer* observer); /* NULL is ignored */

/* An analytics event, as the JSON object the analytics SDK delivers. */
corvane_status corvane_observer_event(corvane_observer* observer, const char* event_json);
/* The user's profile as a JSON object, or one property of it (`value_json` any JSON value). */
corvane_status corvane_observer_profile(corvane_observer* observer, const char* profile_json);
corvane_status corvane_observer_profile_value(corvane_observer* observer, const char* key, const char* value_json);

/* Starts the library with a configuration given as a JSON object with any of: "appKey",
 * "mainPage", "url", "applicationGroupIdentifier" (texts), "envType", "logLevelType",
 * "pushProvider" (whole numbers not below 0), "pushClosed", "bannerClosed" (true or false). A
 * field of another kind is CORVANE_ERROR_INVALID_ARGUMENT and nothing starts. */
corvane_status corvane_start(const char* config_json);

/* The console level: 0 none, 1 all but data, 3, 4, 5 one level, 6 all. */
void corvane_config_log_level(uint64_t level);
/* 0 holds every dialog back until set to 1 again. */
void corvane_set_dialog_visible(int visible);
/* A push notification delivered (type 0) or opened (type 1) with its payload as a JSON object. */
corvane_status corvane_push_track(int64_t type, const char* msg_json, const char* group_identifier);
/* The device's push address: the bytes the system handed over (Apple push, provider 0), or a
 * text (JPush, provider 1). */
corvane_status corvane_push_token_bytes(const uint8_t* bytes, size_t length, uint64_t provider,
                                        const char* group_identifier);
corvane_status corvane_push_token_text(const char* token, uint64_t provider, const char* group_identifier);
/* 1 shows the page tagging ball, 0 hides it. */
void corvane_set_page_tag_state(int on);

/* The preferred size in points of the banner for a location (zero before the first banner
 * download); `width` and `height` must not be NULL. */
corvane_status corvane_banner_size(const char* location_id, double* width, double* height);
/* The server's banners for a location as JSON text (NULL when it has none), handed to `callback`
 * with `user` once banners have been downloaded, on a thread of the library's; the text lives
 * only for the call. Never called for an unknown location before the first download finishes
 * within a minute. */
typedef void (*corvane_banner_callback)(void* user, const char* banners_json);
corvane_status corvane_get_banner(const char* location_id, corvane_banner_callback callback, void* user);

#ifdef __cplusplus
}
#endif

#endif /* CORVANE_OSTREL_H */
