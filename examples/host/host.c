/* A host app in C over the library's C interface, drawing for itself.
 *
 * It hands the library the analytics events it records and sleeps in poll() until the library
 * wakes it with main-thread work, which it then runs. It draws each surface the library shows as
 * lines of text (parsed with json-c, as a C app would with its own JSON library), presses a
 * dialog's last button as a user would, performs the navigation the library hands it and keeps
 * the library's console lines instead of letting them reach the terminal. Each run starts from a
 * fresh sandbox unless OT_SANDBOX names one. It expects a dialog and the navigation of its button
 * within 10 s, and exits 1 when it saw none:
 *   example_c_host http://127.0.0.1:8080/
 *   otserver -- example_c_host {url}
 */
#define _XOPEN_SOURCE 700
#include <corvane/corvane_ostrel.h>
#include <errno.h>
#include <fcntl.h>
#include <ftw.h>
#include <json-c/json.h>
#include <poll.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#define MAX_SHOWN 16

/* What the host shows: the surfaces on screen, the button to press next, the navigations done. */
typedef struct screen {
    uint64_t shown[MAX_SHOWN];
    size_t shown_count;
    uint64_t pending;
    char pending_text[256];
    int navigations;
    /* Console lines come on the library's threads. */
    atomic_size_t console_lines;
    int wake_pipe[2];
} screen;

static int is_shown(const screen* s, uint64_t surface) {
    for (size_t i = 0; i < s->shown_count; ++i) {
        if (s->shown[i] == surface) return 1;
    }
    return 0;
}

static const char* text_of(json_object* node, const char* key) {
    json_object* value = NULL;
    return json_object_object_get_ex(node, key, &value) && json_object_is_type(value, json_type_string)
               ? json_object_get_string(value)
               : "";
}

/* The last button drawn: the one a user of this host presses. */
typedef struct button {
    uint64_t id;
    const char* text;
} button;

/* Prints the texts, buttons and pictures of a node and its children. */
static void draw(json_object* node, button* last) {
    json_object* value = NULL;
    if (!json_object_is_type(node, json_type_object)) return;
    if (json_object_object_get_ex(node, "hidden", &value) && json_object_get_boolean(value)) return;
    const char* role = text_of(node, "role");
    const char* text = text_of(node, "text");
    if (strcmp(role, "button") == 0 && text[0] != '\0') {
        printf("  [%s]\n", text);
        if (json_object_object_get_ex(node, "id", &value)) {
            last->id = json_object_get_uint64(value);
            last->text = text;
        }
    } else if (strcmp(role, "label") == 0 && text[0] != '\0') {
        printf("  %s\n", text);
    } else if (json_object_object_get_ex(node, "image", &value) && text_of(value, "url")[0] != '\0') {
        printf("  <picture %s>\n", text_of(value, "url"));
    }
    if (json_object_object_get_ex(node, "children", &value) && json_object_is_type(value, json_type_array)) {
        for (size_t i = 0; i < json_object_array_length(value); ++i) draw(json_object_array_get_idx(value, i), last);
    }
}

static void show(void* user, uint64_t surface, const char* surface_json) {
    screen* s = user;
    json_object* scene = json_tokener_parse(surface_json);
    json_object* root = NULL;
    if (scene == NULL) return;
    const char* kind = text_of(scene, "kind");
    button last = {0, ""};
    printf("%s %llu:\n", kind, (unsigned long long)surface);
    if (json_object_object_get_ex(scene, "root", &root)) draw(root, &last);
    /* A dialog is answered once, when it first shows; later calls only redraw it. */
    if (!is_shown(s, surface)) {
        if (strcmp(kind, "dialog") == 0 && last.id != 0) {
            s->pending = last.id;
            snprintf(s->pending_text, sizeof s->pending_text, "%s", last.text);
        }
        if (s->shown_count < MAX_SHOWN) s->shown[s->shown_count++] = surface;
    }
    json_object_put(scene);
}

static void dismiss(void* user, uint64_t surface) {
    screen* s = user;
    for (size_t i = 0; i < s->shown_count; ++i) {
        if (s->shown[i] != surface) continue;
        s->shown[i] = s->shown[--s->shown_count];
        break;
    }
    printf("surface %llu dismissed\n", (unsigned long long)surface);
}

static void navigate(void* user, const char* navigation_json) {
    screen* s = user;
    json_object* navigation = json_tokener_parse(navigation_json);
    if (navigation == NULL) return;
    const char* kind = text_of(navigation, "kind");
    const char* page = text_of(navigation, "page");
    printf("navigate %s %s (%s)\n", kind, page[0] != '\0' ? page : text_of(navigation, "url"),
           text_of(navigation, "source"));
    /* The host shows the page it was sent to, and says so. */
    if (strcmp(kind, "page") == 0 || strcmp(kind, "tab") == 0) corvane_page_shown(page);
    s->navigations += 1;
    json_object_put(navigation);
}

static void keep_console_line(void* user, int64_t level, const char* message) {
    (void)level;
    (void)message;
    atomic_fetch_add(&((screen*)user)->console_lines, 1);
}

/* Called on a thread of the library's: a byte down the pipe ends the main loop's poll(). */
static void wake(void* user) {
    const screen* s = user;
    const char byte = 1;
    (void)!write(s->wake_pipe[1], &byte, 1);
}

static double now_seconds(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

static int remove_entry(const char* path, const struct stat* info, int flag, struct FTW* at) {
    (void)info;
    (void)flag;
    (void)at;
    return remove(path);
}

static int run(const char* url) {
    static const char* group = "group.com.example.c";
    static const char* page_view =
        "{\"source\":0,\"xwhat\":\"$pageview\",\"xwho\":\"user-1\",\"xcontext\":{\"$url\":\"HomeVC\"}}";
    /* Static: the library's threads may still be calling the console as run() returns. */
    static screen s;
    if (pipe(s.wake_pipe) != 0) return 1;
    fcntl(s.wake_pipe[0], F_SETFL, O_NONBLOCK);
    fcntl(s.wake_pipe[1], F_SETFL, O_NONBLOCK);
    corvane_set_console(keep_console_line, &s);
    corvane_set_main_queue_waker(wake, &s);

    corvane_observer* observer = corvane_observer_get(group);
    corvane_observer_profile(observer, "{\"xwho\":\"user-1\",\"calibration_time\":0}");
    char config[1024];
    snprintf(config, sizeof config,
             "{\"appKey\":\"c-app-key\",\"mainPage\":\"HomeVC\",\"applicationGroupIdentifier\":\"%s\",\"url\":\"%s\"}",
             group, url);
    if (corvane_start(config) != CORVANE_OK) {
        fprintf(stderr, "the library refused the configuration %s\n", config);
        return 1;
    }
    const corvane_presenter presenter = {&s, show, dismiss, navigate};
    corvane_set_presenter(&presenter);
    /* The host shows its home page, and says so; it reports each page it shows from then on. */
    corvane_page_shown("HomeVC");

    /* The user comes back to the home page now and then; the campaigns download meanwhile. */
    int events = 0;
    const double deadline = now_seconds() + 10;
    double next_view = now_seconds();
    while (s.navigations == 0 && now_seconds() < deadline) {
        if (now_seconds() >= next_view) {
            corvane_observer_event(observer, page_view);
            events += 1;
            next_view += 0.5;
        }
        struct pollfd woken = {s.wake_pipe[0], POLLIN, 0};
        const double wait = next_view - now_seconds();
        if (poll(&woken, 1, wait > 0 ? (int)(wait * 1000) + 1 : 0) > 0) {
            char drained[64];
            while (read(s.wake_pipe[0], drained, sizeof drained) > 0) continue;
            corvane_run_main_queue();
            if (s.pending != 0) {
                const corvane_status status = corvane_tap(s.pending);
                printf("pressed [%s]%s\n", s.pending_text, status == CORVANE_OK ? "" : " (not shown any more)");
                s.pending = 0;
            }
        }
    }
    corvane_set_presenter(NULL);
    corvane_set_main_queue_waker(NULL, NULL);
    corvane_observer_release(observer);
    printf("CorvaneOstrel %s in C: %d events handed over, %zu console lines kept\n", corvane_sdk_version(), events,
           atomic_load(&s.console_lines));
    corvane_set_console(NULL, NULL);
    close(s.wake_pipe[0]);
    close(s.wake_pipe[1]);
    if (s.navigations == 0) {
        fprintf(stderr, "expected a dialog and the navigation of its button within 10 s; saw none\n");
        return 1;
    }
    return 0;
}

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: %s SERVER_URL\n", argv[0]);
        return 2;
    }
    /* A fresh sandbox each run, so that a campaign used up last time shows again. */
    char fresh[] = "/tmp/corvane-c-host-XXXXXX";
    const int own_sandbox = getenv("OT_SANDBOX") == NULL;
    if (own_sandbox) {
        if (mkdtemp(fresh) == NULL) {
            fprintf(stderr, "no sandbox: %s\n", strerror(errno));
            return 1;
        }
        setenv("OT_SANDBOX", fresh, 1);
    }
    const int status = run(argv[1]);
    if (own_sandbox) nftw(fresh, remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    return status;
}
