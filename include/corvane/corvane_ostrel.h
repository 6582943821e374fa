/** @file
 * CorvaneOstrel for hosts that are not C++ (JNI, Dart FFI, Python ctypes, C user interfaces): the
 * library's front door as plain C. Nothing of C++ crosses it: values go in as numbers and UTF-8
 * texts (JSON where the C++ front door takes JSON), engines as opaque handles, answers through
 * callbacks with a user pointer. No call throws or aborts.
 *
 * Bad input is answered with a status and otherwise ignored, as the C++ front door ignores it:
 *   CORVANE_ERROR_NULL_ARGUMENT     a handle or text that must be given is NULL;
 *   CORVANE_ERROR_INVALID_JSON      a JSON text does not parse (or nests deeper than the library
 *                                   takes);
 *   CORVANE_ERROR_INVALID_ARGUMENT  the JSON parses but is not the kind asked for (an object), or
 *                                   a size is negative or not finite;
 *   CORVANE_ERROR_NOT_FOUND         the node or banner named is not shown (any more);
 *   CORVANE_ERROR_WRONG_THREAD      a call that belongs to the main thread came from another;
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

#include "corvane/corvane_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What each call that takes input answers: CORVANE_OK, or why nothing happened (see above). */
typedef enum corvane_status {
    CORVANE_OK = 0,
    CORVANE_ERROR_NULL_ARGUMENT = 1,
    CORVANE_ERROR_INVALID_JSON = 2,
    CORVANE_ERROR_INVALID_ARGUMENT = 3,
    CORVANE_ERROR_INTERNAL = 4,
    CORVANE_ERROR_NOT_FOUND = 5,
    CORVANE_ERROR_WRONG_THREAD = 6
} corvane_status;

/** The engine as the host's analytics SDK sees it. */
typedef struct corvane_observer corvane_observer;

/** The library's version text, e.g. "2.2.2"; static, never NULL. */
CORVANE_EXPORT const char* corvane_sdk_version(void);

/** The engine for an app group (whose shared store keeps the per-user settings); NULL when
 * `group_identifier` is NULL. Each handle is released with corvane_observer_release; the engine
 * itself lives on. */
CORVANE_EXPORT corvane_observer* corvane_observer_get(const char* group_identifier);
CORVANE_EXPORT void corvane_observer_release(corvane_observer* observer); /**< NULL is ignored */

/** An analytics event, as the JSON object the analytics SDK delivers. */
CORVANE_EXPORT corvane_status corvane_observer_event(corvane_observer* observer, const char* event_json);
/** The user's profile as a JSON object, or one property of it (`value_json` any JSON value). */
CORVANE_EXPORT corvane_status corvane_observer_profile(corvane_observer* observer, const char* profile_json);
/** One property of the user's profile: `key` ("xwho" changes the user) and `value_json`. */
CORVANE_EXPORT corvane_status corvane_observer_profile_value(corvane_observer* observer, const char* key,
                                                             const char* value_json);

/** Starts the library with a configuration given as a JSON object with any of: "appKey",
 * "mainPage", "url", "applicationGroupIdentifier" (texts), "envType", "logLevelType",
 * "pushProvider" (whole numbers not below 0), "pushClosed", "bannerClosed" (true or false). A
 * field of another kind is CORVANE_ERROR_INVALID_ARGUMENT and nothing starts. */
CORVANE_EXPORT corvane_status corvane_start(const char* config_json);

/** The console level: 0 none, 1 all but data, 3, 4, 5 one level, 6 all. */
CORVANE_EXPORT void corvane_config_log_level(uint64_t level);
/** The most bytes this run's log file takes (64 MiB unless set; 0 sets that again). */
CORVANE_EXPORT void corvane_config_log_file_limit(uint64_t bytes);
/** Where the console lines go: `callback` is handed each message with its level (0 debug, 3 log,
 * 4 warning, 5 error, 6 data; -1 for the direct prints of matching and downloads, which no log
 * level filters) and `user`, on the thread that prints; the text lives only for the call. While a
 * callback is set nothing goes to standard error; NULL gives the console back. */
typedef void (*corvane_console_callback)(void* user, int64_t level, const char* message);
/** Sets the console's callback (NULL: standard error again); see corvane_console_callback. */
CORVANE_EXPORT void corvane_set_console(corvane_console_callback callback, void* user);
/** 0 holds every dialog back until set to 1 again. */
CORVANE_EXPORT void corvane_set_dialog_visible(int visible);
/** A push notification delivered (type 0) or opened (type 1) with its payload as a JSON object. */
CORVANE_EXPORT corvane_status corvane_push_track(int64_t type, const char* msg_json, const char* group_identifier);
/** The device's push address: the bytes the system handed over (Apple push, provider 0), or a
 * text (JPush, provider 1). */
CORVANE_EXPORT corvane_status corvane_push_token_bytes(const uint8_t* bytes, size_t length, uint64_t provider,
                                                       const char* group_identifier);
/** A push registration id as text: JPush's (provider 1). */
CORVANE_EXPORT corvane_status corvane_push_token_text(const char* token, uint64_t provider,
                                                      const char* group_identifier);
/** 1 shows the page tagging ball, 0 hides it. */
CORVANE_EXPORT void corvane_set_page_tag_state(int on);

/** The preferred size in points of the banner for a location (zero before the first banner
 * download); `width` and `height` must not be NULL. */
CORVANE_EXPORT corvane_status corvane_banner_size(const char* location_id, double* width, double* height);
/** The server's banners for a location as JSON text (NULL when it has none), handed to `callback`
 * with `user` once banners have been downloaded, on a thread of the library's; the text lives
 * only for the call. Never called for an unknown location before the first download finishes
 * within a minute. */
typedef void (*corvane_banner_callback)(void* user, const char* banners_json);
/** Asks for the banners of `location_id`; see corvane_banner_callback. */
CORVANE_EXPORT corvane_status corvane_get_banner(const char* location_id, corvane_banner_callback callback, void* user);

/** The bytes of a campaign picture (a node's "image" "url"), handed to `callback` with `user` on the
 * main thread from corvane_run_main_queue: from the library's cache when it holds them (campaign
 * pictures are stored as campaigns download), otherwise fetched once and stored, so a picture is
 * never downloaded twice. `bytes` (NULL when the address is empty or the picture cannot be had)
 * lives only for the call. */
typedef void (*corvane_picture_callback)(void* user, const uint8_t* bytes, size_t length);
/** Asks for the bytes of the picture at `url`; see corvane_picture_callback. */
CORVANE_EXPORT corvane_status corvane_picture(const char* url, corvane_picture_callback callback, void* user);

/** Why a campaign did or did not show: `callback` is handed one JSON record per pass of an event
 * over the campaigns (the format of CorvaneOtManager::setDecisionListener in CorvaneOtManager.h),
 * with `user`, on the main thread from corvane_run_main_queue; the text lives only for the call.
 * A NULL callback stops the records; while none is set no record is made. */
typedef void (*corvane_decision_callback)(void* user, const char* record_json);
/** Sets the decision records' callback (NULL stops them); see corvane_decision_callback. */
CORVANE_EXPORT void corvane_set_decision_listener(corvane_decision_callback callback, void* user);

/** What becomes of every impression, click, close and push report: `callback` is handed one JSON
 * record each time a report is made, answered (sent, refused) or lost in transport, queued on disk
 * after that, dropped from a full queue, or a queue file is read back to be sent again (the format of
 * CorvaneOtManager::setReportListener in CorvaneOtManager.h), with `user`, on the thread where it
 * happens: keep it short and thread-safe. The text lives only for the call. NULL stops it. */
typedef void (*corvane_report_callback)(void* user, const char* record_json);
/** Sets the report records' callback (NULL stops them); see corvane_report_callback. */
CORVANE_EXPORT void corvane_set_report_listener(corvane_report_callback callback, void* user);

/** ---- The main thread ----------------------------------------------------------------------
 * The library's main-thread work (dialogs, banners, navigation) runs on the thread that first
 * called into it, whenever that thread calls corvane_run_main_queue. It returns how many pieces of
 * work ran, then calls the presenter with what changed on screen. Called on another thread it does
 * nothing. The calls marked "Main thread" below answer CORVANE_ERROR_WRONG_THREAD on any other. */
CORVANE_EXPORT size_t corvane_run_main_queue(void);
/** Makes the calling thread the library's main thread from now on. For a host whose main queue is
 * served by one thread at a time but not always the same one (Swift's main actor under an async
 * main on Linux, where the main queue runs on the dispatch pool): call it at the start of each turn
 * of main-thread work, before any call marked "Main thread". */
CORVANE_EXPORT void corvane_adopt_main_thread(void);
/** Wakes the host when the library has main-thread work: `callback` is called with `user`, from a
 * thread of the library's, when work falls due and corvane_run_main_queue has not run since the
 * last call; the host then has its main thread call corvane_run_main_queue (on Apple,
 * DispatchQueue.main.async). Work due later wakes the host when it falls due, so an idle host is
 * never woken, and a host with a waker need not poll. A NULL callback stops the calls. */
typedef void (*corvane_waker_callback)(void* user);
/** Sets the waker (NULL stops it); see corvane_waker_callback. */
CORVANE_EXPORT void corvane_set_main_queue_waker(corvane_waker_callback callback, void* user);

/** ---- HTTP through the host ---------------------------------------------------------------------
 * A host with an HTTP client of its own (URLSession on Apple) carries the library's requests
 * instead of libcurl. `send` is handed each request with `user`, on a thread of the library's:
 * an id, the method, the address (always http or https), the headers as a JSON array of
 * [name, value] pairs, the body (NULL when there is none; it lives only for the call) and the
 * time-out in seconds. The host answers that id exactly once, from any thread, with
 * corvane_http_answer (an HTTP answer of any status) or corvane_http_fail (no answer: a code and
 * text of the platform's, e.g. -1001 timed out, -1009 offline). The library keeps its bounds
 * whatever the host does: a body over 16 MiB fails the request, a request not answered within its
 * time-out fails as timed out (-1001), and an id answered already (or unknown) is
 * CORVANE_ERROR_NOT_FOUND. Set it before corvane_start; NULL gives the requests back to libcurl,
 * and requests already handed over can still be answered. */
typedef void (*corvane_http_send_callback)(void* user, uint64_t request, const char* method, const char* url,
                                           const char* headers_json, const uint8_t* body, size_t body_length,
                                           double timeout_seconds);
/** Sets the host's HTTP client (NULL: libcurl again); see corvane_http_send_callback. */
CORVANE_EXPORT void corvane_set_http_transport(corvane_http_send_callback send, void* user);
/** `status` 100 to 599, else CORVANE_ERROR_INVALID_ARGUMENT and the request still waits; `body` may be
 * NULL only when `length` is 0. */
CORVANE_EXPORT corvane_status corvane_http_answer(uint64_t request, int64_t status, const uint8_t* body, size_t length);
/** `code` is the platform's failure code, `description` its text (NULL for none). */
CORVANE_EXPORT corvane_status corvane_http_fail(uint64_t request, int64_t code, const char* description);

/** ---- Drawing what the library shows ----------------------------------------------------------
 * A host that draws its own user interface gets each surface the library shows (a dialog, the
 * page tagging ball, a banner it loaded) as JSON through a presenter, and reports touches back.
 *
 * A surface: {"surface": id, "kind": "dialog" | "overlay" | "banner", "locationId": text (banners),
 *             "screen": {"width", "height"}, "root": node}
 * A node:    {"id", "role", "name", "frame": {"x", "y", "width", "height"}, "children": [node...]}
 *   role is one of "view", "label", "button", "image", "scroll", "web", "video", "collection",
 *   "table", "tableCell", "collectionCell", "textField"; frames are points in the parent's
 *   coordinates (a dialog's root covers the screen); children come in drawing order, last on top.
 *   A node also has, where it differs from a plain view:
 *   "alpha" (1), "hidden" (false), "backgroundColor" ("#RRGGBBAA"), "cornerRadius",
 *   "clipsToBounds", "border" {"width", "color"}, "scale" (1, about the centre),
 *   "shadow" {"color", "offsetX", "offsetY", "opacity"};
 *   texts: "text", "placeholder", "textColor", "font" {"name", "size"}, "textAlignment" ("left",
 *   "center", "right"), "numberOfLines" (0 for as many as needed), "lineSpacing";
 *   pictures: "image" {"url" or "file" (a picture of the library's own, as a path), "width" and
 *   "height" (its natural size, once loaded), "contentMode" ("scaleToFill", "aspectFit",
 *   "aspectFill")}; scrolling: "contentSize", "contentOffset", "scrollEnabled"; "url" of a web
 *   page or video; "actions": the touches it answers ("touchUpInside", "tap", ...).
 *   For screen readers: "accessibility" {"label", "traits": ["button" | "image" | "header" |
 *   "link" | "staticText" | "adjustable"], "hint", "value"} on a node a reader should reach (a
 *   label or button reads its text; a carousel's value says "第 2 页，共 3 页"), or {"hidden": true}
 *   on one it should skip with all it holds (a picture that only decorates, the dimmed
 *   background, a carousel's dots); none on a container it passes through. "modal": true on a
 *   dialog's root: a reader stays inside it. "touchFrame" {"x", "y", "width", "height"} where a
 *   node answers touches over more than its frame (the close control: 44 points at least).
 * Ids stay the same while a node lives, so a host can update its views in place. */
typedef struct corvane_presenter {
    /** Handed back to every callback. */
    void* user;
    /** A surface appeared or changed; the text lives only for the call. Required. */
    void (*show)(void* user, uint64_t surface, const char* surface_json);
    /** A surface went away. May be NULL. */
    void (*dismiss)(void* user, uint64_t surface);
    /** May be NULL: the library then moves its own page model. Otherwise every navigation the
     * library decides (a campaign's button or banner, an opened notification) is handed here
     * instead, when it would happen, as JSON living only for the call; the host performs it and
     * reports the page it then shows with corvane_page_shown:
     *   {"kind": "page", "page": class name, "properties": {name: text}, "presentation": "push" |
     *    "present", "source"}; {"kind": "tab", "page", "tab": index, "source"};
     *   {"kind": "web", "url", "source"} (http or https, inside the app);
     *   {"kind": "url", "url", "source"} (another scheme, outside the app);
     * "source" is "campaign" or "notification". */
    void (*navigate)(void* user, const char* navigation_json);
} corvane_presenter;

/** Installs the presenter (copied; NULL stops presenting), which is then shown every surface
 * afresh at the next corvane_run_main_queue. A host that has no window of the library's gets one,
 * over which dialogs show: its page stack starts at the main page, which appears at once, so set
 * the presenter after corvane_start. CORVANE_ERROR_NULL_ARGUMENT when `show` is NULL. Main
 * thread. */
CORVANE_EXPORT corvane_status corvane_set_presenter(const corvane_presenter* presenter);
/** The close control's label for screen readers; NULL or "" gives back the built-in one in the
 * device language ("关闭", "Close"). Applies to dialogs shown from then on. */
CORVANE_EXPORT corvane_status corvane_set_close_label(const char* label);
/** The user's preferred text size as its scale factor (the content size category's: 1.0 by default,
 * clamped to 0.8 to 3.2): dialogs and banners shown from then on lay their texts out at that
 * size, growing or scrolling so that no text is cut. CORVANE_ERROR_INVALID_ARGUMENT when it is
 * not a number. */
CORVANE_EXPORT corvane_status corvane_set_text_scale(double scale);
/** Declares a page of the host that links can open ("DetailVC?id=7"), with the properties a link
 * may set given as a JSON array of texts (NULL for none). */
CORVANE_EXPORT corvane_status corvane_register_page(const char* class_name, const char* properties_json);
/** The host now shows the page of `class_name`: page tracking, first-page-view campaigns and every
 * rule that reads the visible page follow it. Main thread. */
CORVANE_EXPORT corvane_status corvane_page_shown(const char* class_name);
/** A tap on a shown node: what its "touchUpInside" actions, else its "tap" actions, do.
 * CORVANE_ERROR_NOT_FOUND when the node is not shown or ignores touches. Main thread. */
CORVANE_EXPORT corvane_status corvane_tap(uint64_t node);
/** A drag that leaves a shown scrolling node ("scroll", "collection", "table") at offset (x, y).
 * CORVANE_ERROR_NOT_FOUND when the node is not shown or does not scroll. Main thread. */
CORVANE_EXPORT corvane_status corvane_scroll(uint64_t node, double x, double y);
/** Shows the banner of a location in a container of width x height points, a surface of kind
 * "banner" until released; `surface` receives its id, `banner_width` and `banner_height` (may be
 * NULL) the banner's size, zero until the first banner download. With
 * `hides_when_not_available` nonzero, nothing rather than the location's default banner shows
 * while no campaign banner is ready. Main thread. */
CORVANE_EXPORT corvane_status corvane_load_banner(const char* location_id, double width, double height,
                                                  int hides_when_not_available, uint64_t* surface, double* banner_width,
                                                  double* banner_height);
/** CORVANE_ERROR_NOT_FOUND when `surface` is not a loaded banner. Main thread. */
CORVANE_EXPORT corvane_status corvane_release_banner(uint64_t surface);

#ifdef __cplusplus
}
#endif

#endif /* CORVANE_OSTREL_H */
