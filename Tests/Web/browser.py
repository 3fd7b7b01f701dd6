"""A headless Chromium, driven over its debugging socket."""
import base64
import json
import os
import shutil
import subprocess
import tempfile
import time
import urllib.request

import websocket


class Browser:
    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix='check-web-')
        self.log = open(os.path.join(self.folder, 'log'), 'wb')
        self.process = subprocess.Popen(
            ['chromium', '--headless', '--no-sandbox', '--disable-gpu', '--remote-debugging-port=0',
             '--remote-allow-origins=*', '--disable-background-networking', '--no-first-run',
             '--hide-scrollbars', '--user-data-dir=' + self.folder, 'about:blank'],
            stdout=self.log, stderr=self.log)
        port_file = os.path.join(self.folder, 'DevToolsActivePort')
        self.port = wait(lambda: os.path.exists(port_file) and open(port_file).read().split()[:1], 60)[0]
        with urllib.request.urlopen(f'http://127.0.0.1:{self.port}/json/list') as pages:
            page = next(p for p in json.load(pages) if p['type'] == 'page')
        self.socket = websocket.create_connection(page['webSocketDebuggerUrl'], timeout=60)
        self.number = 0
        self.problems = []  # what the page complains about
        for domain in ('Page', 'Runtime', 'Log', 'Network'):
            self.call(domain + '.enable')
        self.requests = []  # (the page that asks, what it asks for)

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.log.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def call(self, method, **parameters):
        self.number += 1
        self.socket.send(json.dumps({'id': self.number, 'method': method, 'params': parameters}))
        while True:
            message = json.loads(self.socket.recv())
            if message.get('id') == self.number:
                if 'error' in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message['result']
            self.note(message)

    def note(self, message):
        kind, details = message.get('method'), message.get('params', {})
        if kind == 'Runtime.exceptionThrown':
            self.problems.append(json.dumps(details['exceptionDetails'])[:600])
        elif kind == 'Log.entryAdded' and details['entry']['level'] == 'error':
            self.problems.append(details['entry']['text'] + ' ' + details['entry'].get('url', ''))
        elif kind == 'Network.requestWillBeSent':
            self.requests.append((details['documentURL'], details['request']['url']))

    def eval(self, script):
        """The value of an expression, also of a promise."""
        result = self.call('Runtime.evaluate', expression=script, awaitPromise=True, returnByValue=True)
        if 'exceptionDetails' in result:
            raise RuntimeError(script + ': ' + json.dumps(result['exceptionDetails'])[:600])
        return result['result'].get('value')

    def wait(self, script, seconds=30):
        """Until the expression is true; its value."""
        return wait(lambda: self.eval(script), seconds, script)

    def open(self, url, width=1280, height=800, scheme='light'):
        self.call('Emulation.setDeviceMetricsOverride', width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.call('Emulation.setEmulatedMedia', features=[{'name': 'prefers-color-scheme', 'value': scheme}])
        self.call('Page.navigate', url='about:blank')
        self.call('Page.navigate', url=url)
        self.wait("document.readyState === 'complete' && document.querySelector('[role=tab]') !== null")

    def click(self, selector, index=0):
        """With the mouse, at the middle of it."""
        place = self.eval(f"""(() => {{
            const one = document.querySelectorAll({json.dumps(selector)})[{index}];
            one.scrollIntoView({{block: 'nearest'}});
            const box = one.getBoundingClientRect();
            return [box.left + Math.min(box.width / 2, 60), box.top + box.height / 2];
        }})()""")
        self.mouse(*place)

    def mouse(self, x, y):
        for kind in ('mouseMoved', 'mousePressed', 'mouseReleased'):
            self.call('Input.dispatchMouseEvent', type=kind, x=x, y=y, clickCount=1,
                      button='none' if kind == 'mouseMoved' else 'left')

    def key(self, name):
        for kind in ('keyDown', 'keyUp'):
            self.call('Input.dispatchKeyEvent', type=kind, key=name, code=name)

    def screenshot(self, path):
        image = self.call('Page.captureScreenshot', format='png')['data']
        with open(path, 'wb') as file:
            file.write(base64.b64decode(image))


def wait(condition, seconds, what='a condition'):
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.05)
