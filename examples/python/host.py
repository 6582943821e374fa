#!/usr/bin/env python3
"""A host app in Python over the library's C interface (ctypes), drawing for itself.

It hands the library the analytics events it records, draws each surface the library shows as
lines of text, presses a dialog's last button as a user would, performs the navigation the
library hands it and keeps the library's console lines instead of letting them reach the
terminal. Each run starts from a fresh sandbox (what the library keeps: campaigns, their usage,
queued reports) unless OT_SANDBOX names one. Given a server, it expects a dialog and the navigation
of its button, and exits 1 when it saw none:

    python3 host.py /opt/corvane/lib/libcorvane_ostrel.so [http://127.0.0.1:8080/]
    otserver -- python3 host.py /opt/corvane/lib/libcorvane_ostrel.so {url}
"""
import ctypes
import json
import os
import shutil
import sys
import tempfile
import threading
import time

SHOW = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_uint64, ctypes.c_char_p)
DISMISS = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_uint64)
NAVIGATE = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_char_p)
CONSOLE = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int64, ctypes.c_char_p)
WAKER = ctypes.CFUNCTYPE(None, ctypes.c_void_p)


class Presenter(ctypes.Structure):
    _fields_ = [("user", ctypes.c_void_p), ("show", SHOW), ("dismiss", DISMISS), ("navigate", NAVIGATE)]


def load(path):
    library = ctypes.CDLL(path)
    library.corvane_sdk_version.restype = ctypes.c_char_p
    library.corvane_observer_get.restype = ctypes.c_void_p
    library.corvane_observer_get.argtypes = [ctypes.c_char_p]
    library.corvane_observer_release.argtypes = [ctypes.c_void_p]
    for name in ("corvane_observer_event", "corvane_observer_profile"):
        getattr(library, name).argtypes = [ctypes.c_void_p, ctypes.c_char_p]
    library.corvane_start.argtypes = [ctypes.c_char_p]
    library.corvane_set_console.argtypes = [CONSOLE, ctypes.c_void_p]
    library.corvane_set_main_queue_waker.argtypes = [WAKER, ctypes.c_void_p]
    library.corvane_set_presenter.argtypes = [ctypes.POINTER(Presenter)]
    library.corvane_run_main_queue.restype = ctypes.c_size_t
    library.corvane_tap.argtypes = [ctypes.c_uint64]
    library.corvane_page_shown.argtypes = [ctypes.c_char_p]
    return library


class Screen:
    """What the host shows: each surface as text, the buttons it offers, the navigations done."""

    def __init__(self, library):
        self.library = library
        self.shown = {}
        self.buttons = {}
        self.pending = None
        self.navigations = []
        # ctypes keeps no reference to a callback: these live as long as the screen.
        self.presenter = Presenter(None, SHOW(self.show), DISMISS(self.dismiss), NAVIGATE(self.navigate))

    def show(self, _user, surface, text):
        scene = json.loads(text)
        lines, buttons = [], []
        self.draw(scene["root"], lines, buttons)
        print(f"{scene['kind']} {surface}:")
        for line in lines:
            print(f"  {line}")
        # A dialog is answered once, when it first shows; later calls only redraw it.
        if scene["kind"] == "dialog" and buttons and surface not in self.shown:
            self.pending = buttons[-1]
        self.shown[surface] = scene["kind"]

    def dismiss(self, _user, surface):
        print(f"{self.shown.pop(surface, 'surface')} {surface} dismissed")

    def navigate(self, _user, text):
        navigation = json.loads(text)
        target = navigation.get("url") or navigation.get("page")
        print(f"navigate {navigation['kind']} {target} ({navigation['source']})")
        self.navigations.append(navigation)
        if navigation["kind"] in ("page", "tab"):
            self.library.corvane_page_shown(navigation["page"].encode())

    def draw(self, node, lines, buttons):
        if node.get("hidden"):
            return
        text = node.get("text", "")
        if node["role"] == "button" and text:
            self.buttons[node["id"]] = f"[{text}]"
            lines.append(self.buttons[node["id"]])
            buttons.append(node["id"])
        elif node["role"] == "label" and text:
            lines.append(text)
        elif "url" in node.get("image", {}):
            lines.append(f"<picture {node['image']['url']}>")
        for child in node.get("children", []):
            self.draw(child, lines, buttons)

    def press_pending(self):
        if self.pending is None:
            return
        status = self.library.corvane_tap(self.pending)
        print(f"pressed {self.buttons[self.pending]}" + ("" if status == 0 else " (not shown any more)"))
        self.pending = None


def main(argv):
    if len(argv) < 2:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    # A fresh sandbox each run, so that a campaign used up last time shows again.
    fresh = None
    if "OT_SANDBOX" not in os.environ:
        fresh = tempfile.mkdtemp(prefix="corvane-python-")
        os.environ["OT_SANDBOX"] = fresh
    try:
        return run(argv)
    finally:
        if fresh:
            shutil.rmtree(fresh, ignore_errors=True)


def run(argv):
    library = load(argv[1])
    console = []
    sink = CONSOLE(lambda _user, level, message: console.append((level, message.decode())))
    library.corvane_set_console(sink, None)

    # The main thread sleeps until the library has main-thread work for it.
    woken = threading.Event()
    waker = WAKER(lambda _user: woken.set())
    library.corvane_set_main_queue_waker(waker, None)

    observer = library.corvane_observer_get(b"group.com.example.python")
    library.corvane_observer_profile(observer, b'{"xwho":"user-1","calibration_time":0}')
    page_view = json.dumps({"source": 0, "xwhat": "$pageview", "xwho": "user-1", "xcontext": {"$url": "HomeVC"}})
    events = 0
    navigated = True
    if len(argv) > 2:
        config = {"appKey": "python-app-key", "mainPage": "HomeVC", "url": argv[2],
                  "applicationGroupIdentifier": "group.com.example.python"}
        library.corvane_start(json.dumps(config).encode())
        screen = Screen(library)
        library.corvane_set_presenter(ctypes.byref(screen.presenter))
        # The host shows its home page, and says so, as it does for each page it is sent to.
        library.corvane_page_shown(b"HomeVC")
        # The user comes back to the home page now and then; the campaigns download meanwhile.
        deadline = time.monotonic() + 10
        next_view = time.monotonic()
        while not screen.navigations and time.monotonic() < deadline:
            if time.monotonic() >= next_view:
                library.corvane_observer_event(observer, page_view.encode())
                events += 1
                next_view += 0.5
            if woken.wait(timeout=max(0.0, next_view - time.monotonic())):
                woken.clear()
                library.corvane_run_main_queue()
                screen.press_pending()
        library.corvane_set_presenter(None)
        navigated = bool(screen.navigations)
    else:
        library.corvane_observer_event(observer, page_view.encode())
        events += 1
    library.corvane_observer_release(observer)
    library.corvane_set_main_queue_waker(WAKER(), None)
    version = library.corvane_sdk_version().decode()
    print(f"CorvaneOstrel {version} over ctypes: {events} events handed over, {len(console)} console lines kept")
    if not navigated:
        print("expected a dialog and the navigation of its button within 10 s; saw none", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
