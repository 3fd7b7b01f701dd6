"""Opens the page of a live process, and the saved file, in a real browser, and holds what it shows
against what `kestrel inspect --json` says.

check.py BUILD_FOLDER [FOLDER_FOR_SCREENSHOTS]
"""
import contextlib
import http.client
import json
import os
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse
import urllib.request

from browser import Browser, wait

BUILD = os.path.abspath(sys.argv[1])
SHOTS = os.path.abspath(sys.argv[2]) if len(sys.argv) > 2 else None
TOOL = os.path.join(BUILD, 'kestrel')
VIEWS = ('browse', 'memory', 'space', 'addresses', 'connections', 'mounts', 'types', 'log')
MOUNTS = ['Kestrel', 'Virtual file systems']


def check(condition, what):
    if not condition:
        raise AssertionError(what)


def run(*arguments):
    return subprocess.run([TOOL, *arguments], check=True, capture_output=True, text=True).stdout


@contextlib.contextmanager
def live_process(folder):
    process = subprocess.Popen([os.path.join(BUILD, 'live'), folder], stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, text=True)
    try:
        command = next(line for line in process.stdout if '--web' in line)
        yield command.split()[-1], process
    finally:
        process.stdin.close()
        process.wait(60)


@contextlib.contextmanager
def served(port, *arguments):
    process = subprocess.Popen([TOOL, 'inspect', '--web', '--timeout', '60', *arguments, port], stdout=subprocess.PIPE, text=True)
    try:
        yield process.stdout.readline().strip()
    finally:
        process.terminate()
        process.wait(60)


def level(port, *path):
    place = 'rel:///' + '/'.join(urllib.parse.quote(name, safe='') for name in path)
    return json.loads(run('inspect', '--timeout', '60', '--json', port, place))


def go_to(page, path):
    page.eval(f'Kestrel.goTo({json.dumps(path)}).then(() => 1)')


def read_table(page):
    """The lines that are in view."""
    return page.eval("""[...document.querySelectorAll('.rows .row')].map((row) =>
        [...row.children].map((cell) => cell.textContent))""")


def check_table(page, port, is_live):
    page.wait("document.querySelectorAll('.rows .row').length === 3")
    for name in ('MuRoot', 'Memory'):  # with the mouse, as people do
        index = page.wait(f"""1 + [...document.querySelectorAll('.tree .line')]
            .findIndex((line) => line.textContent.endsWith({json.dumps(name)}))""")
        page.click('.tree .line', index - 1)
        page.wait(f"[...document.querySelectorAll('.crumbs button')].at(-1).textContent === '{name}'")
    go_to(page, ['MuRoot', 'ClassInfos'])
    classes = level(port, 'MuRoot', 'ClassInfos')
    page.wait(f"document.querySelector('.counter').textContent.startsWith('{len(classes['children'])} rows')")
    shown = [row[1] for row in read_table(page)]
    check(shown[:3] == [one['values'][0] for one in classes['children'][:3]], 'the classes are not those of the process')
    page.click('.head button', 1)
    first = min((one['values'][0] for one in classes['children']), key=str.lower)
    page.wait(f"document.querySelector('.rows .row').children[1].textContent === {json.dumps(first)}")
    page.eval("(() => { const box = document.querySelector('input'); box.value = 'IO::'; box.dispatchEvent(new Event('input')); })()")
    expected = sum('io::' in json.dumps(one).lower() for one in classes['children'])
    page.wait(f"document.querySelector('.counter').textContent.startsWith('{expected} of ')")
    page.eval("(() => { const box = document.querySelector('input'); box.value = ''; box.dispatchEvent(new Event('input')); })()")


def check_odd_names(page, port):
    go_to(page, ['Live', 'Odd names'])
    odd = level(port, 'Live', 'Odd names')
    page.wait(f"document.querySelectorAll('.rows .row').length === {len(odd['children'])}")
    names = [row[0] for row in read_table(page)]
    check(names == [one['name'].replace('\n', '\\u000a').replace('\x1b', '\\u001b') for one in odd['children']], names)
    check(page.eval("document.querySelectorAll('main script, main img, main b').length") == 0, 'a name became an element')
    check('live process' in page.eval('document.title'), 'a name ran as a script')
    page.click('.rows .row', 0)
    page.wait("document.querySelector('.content').textContent.includes('<script>')")


def check_many(page, port):
    start = time.monotonic()
    go_to(page, ['Live', 'Parts'])
    page.wait("document.querySelectorAll('.rows .row').length > 10", 90)
    print(f'  the first rows of 100,000: {time.monotonic() - start:.1f} s')
    page.wait("document.querySelector('.counter').textContent.startsWith('100,000 rows')", 120)
    print(f'  all of them: {time.monotonic() - start:.1f} s')
    check(page.eval("document.querySelectorAll('.rows .row').length") < 200, 'all rows are elements')
    check(page.eval("document.querySelectorAll('.tree .line').length") < 200, 'all nodes are elements')
    page.eval("document.querySelector('.rows').focus()")
    page.key('End')
    page.wait("document.querySelector('.rows .row.chosen') !== null")
    last = page.eval("document.querySelector('.rows .row.chosen').firstChild.textContent")
    check(last == '99999', last)
    page.wait("document.querySelector('.content').textContent.includes('left')")


def facts(page, view):
    return page.eval(f"""[...document.querySelectorAll('#view-{view} .facts tbody tr')].map((row) =>
        [...row.children].map((cell) => cell.textContent))""")


def total(page, view):
    return page.eval(f"document.querySelector('#view-{view} .sum').textContent")


def show(page, view):
    page.click('#tab-' + view)
    page.wait(f"!document.querySelector('#view-{view}').hidden && (document.querySelector('#view-{view} .sum')?.textContent ?? '') !== ''", 90)


def painted(page, view):
    """How many colours the picture has."""
    return page.eval(f"""(() => {{
        const canvas = document.querySelector('#view-{view} canvas');
        const pixels = new Uint32Array(canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height).data.buffer);
        return new Set(pixels).size;
    }})()""")


def hover(page, view):
    """What stands at a shape in the middle of the picture."""
    place = page.eval(f"""(() => {{
        const box = document.querySelector('#view-{view} canvas').getBoundingClientRect();
        return [box.left + box.width / 3, box.top + box.height / 2];
    }})()""")
    page.call('Input.dispatchMouseEvent', type='mouseMoved', x=place[0], y=place[1])
    return page.wait("document.getElementById('hint').textContent")


def check_pictures(page, port, is_live):
    show(page, 'memory')
    page.wait("document.querySelectorAll('#view-memory .facts tbody tr').length > 5")
    check('blocks' in hover(page, 'memory'), 'no block is shown at the pointer')
    check(page.eval("document.querySelectorAll('.curve').length") == 2, 'there is no history')
    check(painted(page, 'memory') > 3, 'no picture of the memory')
    page.click("#view-memory input[value='count']")
    path = ['MuRoot', 'Memory', 'AllocationTree (complete)']

    def is_largest():  # of the process, or of what was saved of it
        if is_live:
            numbers = [one['values'][1] for group in level(port, *path)['children']
                       for one in level(port, *path, group['name'])['children']]
        else:
            numbers = page.eval(f"""(async () => (await Promise.all((await Kestrel.ask('level', {{path: {path}}})).rows.map(([group]) =>
                Kestrel.ask('level', {{path: [...{path}, group]}})))).flatMap(({{rows}}) => rows.map((row) => row[3])))()""")
        largest = max(map(int, numbers))
        return abs(int(facts(page, 'memory')[0][2].replace(',', '')) - largest) <= (largest / 2 if is_live else 0)
    wait(is_largest, 60, 'the commonest class of blocks')

    show(page, 'space')
    def is_whole():  # both change while one looks
        regions = len(level(port, 'MuRoot', 'Memory', 'AddressSpace')['children'])
        shown = int(total(page, 'space').split()[0].replace(',', ''))
        return abs(shown - regions) <= max(20, regions / 5) or not is_live and shown > 20
    wait(is_whole, 60, 'the regions of the process')
    before = page.eval("document.querySelector('#view-space canvas').toDataURL()")
    page.click('#view-space .buttons button', 0)
    check(before != page.eval("document.querySelector('#view-space canvas').toDataURL()"), 'it does not come closer')

    show(page, 'addresses')
    page.wait("!document.querySelector('#view-addresses .sum').textContent.includes('or more')", 60)
    names = {one['values'][0] for one in level(port, 'Kestrel', 'AddressTree', '0')['children']}
    page.click('#view-addresses .facts button')  # the root of all
    page.wait("document.querySelectorAll('#view-addresses .crumbs button').length === 2")
    shown = {row[0] for row in facts(page, 'addresses')}
    check({'C:', 'MuRoot', 'Live'} <= shown & names and len(shown ^ names) < 5, f'{shown}, {names} in the process')
    page.eval("(() => { const box = document.querySelector('#view-addresses input'); box.value = 'localhost'; box.dispatchEvent(new Event('input')); })()")
    check(facts(page, 'addresses')[0][0] == 'localhost', 'the search finds nothing')
    page.click('#view-addresses .facts button')
    page.wait("[...document.querySelectorAll('#view-addresses .crumbs button')].at(-1).textContent === 'localhost'")

    show(page, 'connections')
    ports = [str(server['port']) for one in json.loads(run('ps', '--json')) for server in one['servers']]
    shown = page.eval("[...document.querySelectorAll('.server h3')].map((one) => one.textContent.replace('port ', ''))")
    check(not is_live or sorted(shown) == sorted(ports), f'{shown} are shown, {ports} serve')
    check(page.eval("document.querySelectorAll('.queue').length") >= 4, 'there are no queues')
    page.wait("document.querySelectorAll('.wire').length >= 1")

    show(page, 'mounts')
    mounts = [one['name'] for one in level(port, *MOUNTS)['children']]
    shown = page.eval("[...document.querySelectorAll('.mount-node.mount title')].map((one) => one.textContent)")
    check(shown == mounts, f'{shown} are shown, {mounts} are mounted')
    inside = page.eval("[...document.querySelectorAll('.mount-node.inside text')].map((one) => one.textContent)")
    check(sorted(inside) == ['drawer', 'shelf'], inside)

    show(page, 'types')
    page.wait("!document.querySelector('#view-types .sum').textContent.includes('or more')", 60)
    check(painted(page, 'types') > 3, 'no picture of the types')
    groups = level(port, 'Kestrel', 'FileTypeManager')['children']
    check(len(facts(page, 'types')) == min(len(groups), 100), 'other groups than in the process')

    show(page, 'log')
    page.wait("document.querySelectorAll('.log-line.info').length > 0")
    check('of the work' in page.eval("document.querySelector('.log-lines').textContent"), 'other lines')
    if is_live:
        lines = total(page, 'log')
        page.wait(f"document.querySelector('#view-log .sum').textContent !== {json.dumps(lines)}")


def check_refresh(page):
    go_to(page, ['Live', 'Orders'])
    page.wait("document.querySelectorAll('.rows .changed').length > 0")
    page.click('#pause')
    page.wait("document.getElementById('state').textContent === 'paused'")
    before = read_table(page)
    time.sleep(3)
    check(read_table(page) == before, 'a paused page changes')
    page.click('#pause')
    page.wait(f'JSON.stringify([...document.querySelectorAll(".rows .row")].map((row) => [...row.children].map((cell) => cell.textContent))) !== {json.dumps(json.dumps(before, separators=(",", ":"), ensure_ascii=False))}')


def check_keys(page, url):
    """Every view and both lists without a mouse; a place that the keys went to outlasts a reading."""
    page.open(url + '#mounts')  # nothing else has been opened
    page.wait("document.querySelector('.mount-node.mount') !== null")
    page.eval("document.querySelector('.mount-node.mount').focus()")
    time.sleep(3)
    page.key('Enter')
    page.wait("[...document.querySelectorAll('.rows .row')].map((row) => row.textContent).sort().join() === 'drawer,shelf'")
    show(page, 'memory')
    page.eval("document.querySelector('#view-memory canvas').focus()")
    names = []
    for pause, key in ((0, 'ArrowRight'), (0, 'ArrowRight'), (3, 'ArrowLeft')):
        time.sleep(pause)
        page.key(key)
        names.append(page.eval("document.getElementById('hint').textContent.split('\\n')[0]"))
    check(names[0] == names[2] != names[1], names)
    page.click('#tab-browse')
    page.eval("document.getElementById('tab-browse').focus()")
    for view in page.eval("[...document.querySelectorAll('[role=tab]')].map((tab) => tab.id.slice(4))")[1:]:
        page.key('ArrowRight')
        page.wait(f"!document.getElementById('view-{view}').hidden")
    page.key('ArrowRight')
    page.eval("document.querySelector('.tree').focus()")
    page.key('Home')
    page.key('ArrowDown')
    page.wait("document.querySelector('.tree .chosen').textContent.endsWith('Kestrel')")
    check(page.eval("""[...document.querySelectorAll('button, input, select, canvas, svg[role], [tabindex="0"]')].every((one) =>
        one.textContent.trim() || one.ariaLabel || one.closest('label') || one.hidden)"""), 'something has no name')


def ask(url, method='GET', path='', host=None, **fields):
    """(status, fields, body), on a connection of its own."""
    parts = urllib.parse.urlsplit(url)
    connection = http.client.HTTPConnection(parts.hostname, parts.port, timeout=30)
    connection.putrequest(method, path if path.startswith('/') else parts.path + path, skip_host=host is not None)
    if host:
        connection.putheader('Host', host)
    for name, value in fields.items():
        connection.putheader(name.replace('_', '-'), value)
    connection.endheaders()
    reply = connection.getresponse()
    try:
        return reply.status, reply.headers, reply.read()
    finally:
        connection.close()


def check_server(url):
    port = urllib.parse.urlsplit(url).port
    for method in ('POST', 'PUT', 'DELETE', 'HEAD', 'OPTIONS', 'TRACE', 'STRANGE'):
        status, fields, _ = ask(url, method)
        check(status == 405 and fields['Allow'] == 'GET', f'{method}: {status}')
    for host, expected in ((f'localhost:{port}', 200), (f'[::1]:{port}', 200), ('localhost', 403), ('127.0.0.1:1', 403),
                           (f'evil.example:{port}', 403), (f'localhost.evil.example:{port}', 403), (f'127.0.0.1:{port}.', 403)):
        check(ask(url, host=host)[0] == expected, f'Host: {host}')
    status, fields, body = ask(url, Range='bytes=0-3')
    check(status == 200 and len(body) > 100, 'a part of a page')
    check("default-src 'none'" in fields['Content-Security-Policy'] and 'unsafe' not in fields['Content-Security-Policy'], 'no policy')
    check(fields['X-Content-Type-Options'] == 'nosniff', 'types are guessed')
    for path, expected in (('/', 404), ('/api/target', 404), ('../../etc/passwd', 404), ('api/none', 404), ('none.js', 404),
                           ('x' * 9000, 414), ('x' * 20000, 431), ('api/level?path=%', 502), ('api/level?path={}', 502),
                           ('api/level?path=[1]', 502), ('api/level?path=%5B%22none%22%5D', 200)):
        status = ask(url, path=path)[0]
        check(status == expected, f'{path[:40]}: {status}')
    check(ask(url, Content_Length='5')[0] == 413, 'a body is taken')
    with socket.create_connection(('127.0.0.1', port)) as one:
        one.sendall(b'\x16\x03\x01 no HTTP\r\n\r\n')
        check(b' 400 ' in one.recv(1000), 'nonsense is taken')
    # Many at a time, most of which say nothing.
    silent = [socket.create_connection(('127.0.0.1', port)) for _ in range(50)]
    results = []
    threads = [threading.Thread(target=lambda: results.append(ask(url, path='api/level?path=[]')[0])) for _ in range(40)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for one in silent:
        one.close()
    check(results == [200] * 40, results)


def check_hostile_process(folder):
    """A server that says nonsense, and one that goes silent."""
    for reply in (b'HTTP/1.1 400 Bad Request\r\n\r\n' * 100, b'\xff' * 4096, b''):
        with socket.create_server(('127.0.0.1', 0)) as server:
            def serve():
                with contextlib.suppress(OSError):
                    while True:
                        one, _ = server.accept()
                        one.sendall(reply)
                        silent.append(one)
            silent = []
            threading.Thread(target=serve, daemon=True).start()
            target = str(server.getsockname()[1])
            done = subprocess.run([TOOL, 'inspect', '--timeout', '1', '--save', os.path.join(folder, 'none.html'), target],
                                  capture_output=True, timeout=60)
            check(done.returncode == 1 and done.stderr, 'a foreign server is taken for a process')
            check(not os.path.exists(os.path.join(folder, 'none.html')), 'a page of nothing')
            for one in silent:
                one.close()
            server.shutdown(socket.SHUT_RDWR)


def take_shots(page, url, name):
    if not SHOTS:
        return
    os.makedirs(SHOTS, exist_ok=True)
    for width, height, scheme in ((1280, 800, 'light'), (1280, 800, 'dark'), (420, 800, 'light')):
        for view in VIEWS:
            page.open(url + '#' + view, width, height, scheme)
            page.wait(f"document.querySelector('#view-{view} .sum')?.textContent || document.querySelectorAll('.rows .row').length")
            if view == 'browse':
                go_to(page, ['Live', 'Orders'])
            time.sleep(2.5)
            page.screenshot(os.path.join(SHOTS, f'{name}-{view}-{width}-{scheme}.png'))


def main():
    page = Browser()
    try:
        with tempfile.TemporaryDirectory() as folder, live_process(folder) as (port, process):
            with served(port) as url:
                print('the live page')
                page.open(url)
                check_table(page, port, True)
                check_odd_names(page, port)
                check_many(page, port)
                check_pictures(page, port, True)
                check_refresh(page)
                check_keys(page, url)
                asked = [request for _, request in page.requests if not request.startswith((url, 'about:'))]
                check(not asked, f'the page asks for {asked}')
                check(not page.problems, page.problems)
                take_shots(page, url, 'live')
                print('the server')
                check_server(url)
                print('the saved file')
                file = os.path.join(folder, 'saved.html')
                run('inspect', '--timeout', '60', '--save', file, '--logs', folder, port)
                page.problems.clear()
                page.open('file://' + file)
                check_table(page, port, False)
                check_odd_names(page, port)
                check_many(page, port)
                check_pictures(page, port, False)
                asked = [request for document, request in page.requests
                         if document.startswith('file:') and not request.startswith('file:')]
                check(not asked, f'the file asks for {asked}')
                check(not page.problems, page.problems)
                check(subprocess.run([TOOL, 'inspect', '--save', file, port], capture_output=True).returncode == 1, 'a file is replaced')
                print('the end of the process')
                page.open(url)
                page.wait("document.getElementById('state').textContent === 'live'")
                process.stdin.close()
                process.wait(60)
                page.wait("document.getElementById('state').className === 'lost'")
                check(len(read_table(page)) == 3, 'the last that was there is gone')
            check_hostile_process(folder)
    except TimeoutError:
        print('the page says:', page.eval("document.getElementById('state').textContent"), page.problems)
        raise
    finally:
        page.close()
    print('the page holds')


if __name__ == '__main__':
    main()
