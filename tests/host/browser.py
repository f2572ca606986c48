"""A headless Chromium, driven by its DevTools protocol over a pipe."""

import json
import os
import select
import shutil
import subprocess
import tempfile
import time


def find():
    for name in ("chromium", "chromium-browser", "google-chrome"):
        path = shutil.which(name)
        if path:
            return path
    return None


class Browser:
    def __init__(self, path, timeout=120):
        self.deadline = time.monotonic() + timeout
        self.folder = tempfile.TemporaryDirectory()
        to_read, self.to = os.pipe()
        self.come, from_write = os.pipe()

        def move():  # the browser reads from 3 and writes to 4; neither may be overwritten on the way
            command, answer = os.dup(to_read), os.dup(from_write)
            high = [fd if fd > 4 else os.dup(fd) for fd in (command, answer)]
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)

        self.process = subprocess.Popen(
            [path, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
             "--disable-background-networking", "--hide-scrollbars", f"--user-data-dir={self.folder.name}",
             "--remote-debugging-pipe", "about:blank"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL, pass_fds=(3, 4),
            preexec_fn=move)
        os.close(to_read)
        os.close(from_write)
        self.bytes = b""
        self.number = 0
        self.session = None
        self.errors = []
        self.loaded = False
        targets = self.call("Target.getTargets")["targetInfos"]
        page = next(target for target in targets if target["type"] == "page")
        self.session = self.call("Target.attachToTarget", targetId=page["targetId"], flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        try:
            self.folder.cleanup()
        except OSError:
            pass  # a helper process of the browser still writes there

    def message(self):
        while b"\0" not in self.bytes:
            ready, _, _ = select.select([self.come], [], [], max(0, self.deadline - time.monotonic()))
            if not ready:
                raise TimeoutError("the browser doesn't answer")
            more = os.read(self.come, 1 << 20)
            if not more:
                raise EOFError("the browser has ended")
            self.bytes += more
        text, self.bytes = self.bytes.split(b"\0", 1)
        return json.loads(text)

    def note(self, event):
        method, params = event.get("method"), event.get("params", {})
        if method == "Runtime.exceptionThrown":
            details = params["exceptionDetails"]
            self.errors.append(details.get("exception", {}).get("description", details["text"]))
        elif method == "Runtime.consoleAPICalled" and params["type"] in ("error", "warning", "assert"):
            self.errors.append(str(params["args"]))
        elif method == "Log.entryAdded" and params["entry"]["level"] in ("error", "warning"):
            self.errors.append(params["entry"]["text"])
        elif method == "Network.requestWillBeSent" and not params["request"]["url"].startswith("file:"):
            self.errors.append("asks the network for " + params["request"]["url"])
        elif method == "Page.loadEventFired":
            self.loaded = True

    def call(self, method, **params):
        self.number += 1
        message = {"id": self.number, "method": method, "params": params}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.to, json.dumps(message).encode() + b"\0")
        while True:
            answer = self.message()
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(answer["error"]["message"])
                return answer["result"]
            self.note(answer)

    def resize(self, width, height, dark=False):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def open(self, path, fragment=""):
        self.loaded = False
        self.call("Page.navigate", url="about:blank")
        self.loaded = False
        self.call("Page.navigate", url="file://" + os.path.abspath(path) + fragment)
        while not self.loaded:
            self.note(self.message())
        self.settle()

    def settle(self):
        """Waits until what the page has put off is drawn."""
        self.run("new Promise(done => setTimeout(() => requestAnimationFrame(() => requestAnimationFrame(done)), 200))")

    def run(self, script):
        result = self.call("Runtime.evaluate", expression=script, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(str(result["exceptionDetails"]))
        return result["result"].get("value")

    def key(self, key):
        for kind in ("keyDown", "keyUp"):
            extra = {"text": "\r"} if key == "Enter" and kind == "keyDown" else {}
            code = {"Enter": 13, "Escape": 27, "ArrowRight": 39, "ArrowLeft": 37}.get(key, 0)
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, windowsVirtualKeyCode=code, **extra)

    def screenshot(self, path):
        import base64
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("Page.captureScreenshot", captureBeyondViewport=False)["data"]))
