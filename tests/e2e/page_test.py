#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The page of the exporter in headless Chromium, driven over its DevTools pipe.

usage: page_test.py TNSTAT DIRECTORY      screenshots go to DIRECTORY

Exit status 77 where Chromium is not installed.
"""

import base64
import fcntl
import json
import math
import os
import select
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request

SKIPPED = 77
PATIENCE_S = 60
NODES = 4
FREE_GIB = (48, 12.5, 101, 0.7)
PERIOD_S = 5
DUMPS = 120


def check(condition, what):
    if not condition:
        raise AssertionError(what)


# The metrics file: offsets of docs/runtime-metrics.md.

def record(loop, score, nodes=NODES, moved=True, operations=21000000):
    data = bytearray(1248)
    remote = round(operations * (1 - score))
    struct.pack_into('<Qii', data, 0, loop, 4, nodes)
    struct.pack_into('<QQQQf', data, 16, 1000 if operations else 0, operations, remote * 2 // 3, remote - remote * 2 // 3, score)
    for source in range(nodes):
        struct.pack_into('<I', data, 72 + 1044 + 4 * source, int(FREE_GIB[source % 4] * (1 << 20)))
        for target in range(nodes):
            if moved and source != target:
                kb = int(300 * 1024 * abs(math.sin(source * 3 + target * 7 + 1)) ** 3)
                struct.pack_into('<I', data, 72 + 20 + 4 * (16 * source + target), kb)
    return bytes(data)


def dump(path, data, when):
    with open(path + '.tmp', 'wb') as file:
        file.write(data)
    os.utime(path + '.tmp', (when, when))
    os.rename(path + '.tmp', path)


class Exporter:
    def __init__(self, program, path):
        for _ in range(20):
            with socket.socket() as probe:
                probe.bind(('127.0.0.1', 0))
                self.port = probe.getsockname()[1]
            self.process = subprocess.Popen(
                [program, '-e', 'node_exporter', '--ip', '127.0.0.1', '--port', str(self.port)],
                env={**os.environ, 'TARNIX_METRICS_FILE': path}, stderr=subprocess.PIPE, text=True)
            line = self.process.stderr.readline()
            if 'serving' in line:
                break
            self.process.wait()
        check('serving' in line, 'the exporter does not serve: ' + line)
        self.url = f'http://127.0.0.1:{self.port}/'

    def scrape(self):
        with urllib.request.urlopen(self.url + 'metrics', timeout=PATIENCE_S) as answer:
            answer.read()

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        return self.process.wait(PATIENCE_S)


class Browser:
    """One page of a headless Chromium."""

    def __init__(self, program, profile):
        to_browser, self.write_end = os.pipe()
        self.read_end, from_browser = os.pipe()

        def hand_over():
            # The browser reads commands from descriptor 3 and answers on 4.
            high = [fcntl.fcntl(end, fcntl.F_DUPFD_CLOEXEC, 10) for end in (to_browser, from_browser)]
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)

        self.process = subprocess.Popen(
            [program, '--headless', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--hide-scrollbars',
             '--no-first-run', '--disable-background-networking', '--disable-component-update', '--lang=en',
             '--user-data-dir=' + profile, '--remote-debugging-pipe', 'about:blank'],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            preexec_fn=hand_over, close_fds=False, start_new_session=True)
        os.close(to_browser)
        os.close(from_browser)
        self.buffer = b''
        self.number = 0
        self.session = None
        self.urls = []
        self.errors = []
        target = self.call('Target.createTarget', url='about:blank')['targetId']
        self.session = self.call('Target.attachToTarget', targetId=target, flatten=True)['sessionId']
        for domain in ('Page', 'Runtime', 'Network', 'Log'):
            self.call(domain + '.enable')

    def receive(self, deadline):
        while b'\0' not in self.buffer:
            ready, _, _ = select.select([self.read_end], [], [], max(0, deadline - time.monotonic()))
            check(ready, 'the browser does not answer')
            block = os.read(self.read_end, 1 << 16)
            check(block, 'the browser has gone')
            self.buffer += block
        message, self.buffer = self.buffer.split(b'\0', 1)
        return json.loads(message)

    def note(self, event):
        method, facts = event.get('method'), event.get('params', {})
        if method == 'Network.requestWillBeSent':
            self.urls.append(facts['request']['url'])
        elif method == 'Runtime.exceptionThrown':
            self.errors.append(facts['exceptionDetails'].get('text', '') + str(facts['exceptionDetails']))
        elif method == 'Log.entryAdded' and facts['entry']['level'] == 'error':
            self.errors.append(facts['entry']['text'] + ' ' + facts['entry'].get('url', ''))

    def call(self, method, **parameters):
        self.number += 1
        message = {'id': self.number, 'method': method, 'params': parameters}
        if self.session:
            message['sessionId'] = self.session
        os.write(self.write_end, json.dumps(message).encode() + b'\0')
        deadline = time.monotonic() + PATIENCE_S
        while True:
            answer = self.receive(deadline)
            if answer.get('id') == self.number:
                check('error' not in answer, f'{method}: {answer.get("error")}')
                return answer['result']
            self.note(answer)

    def evaluate(self, expression):
        answer = self.call('Runtime.evaluate', expression=expression, returnByValue=True, awaitPromise=True)
        check('exceptionDetails' not in answer, f'{expression}: {answer.get("exceptionDetails")}')
        return answer['result'].get('value')

    def text(self, identifier):
        return self.evaluate(f'document.getElementById("{identifier}").textContent')

    def await_true(self, expression, what):
        deadline = time.monotonic() + PATIENCE_S
        while not self.evaluate(expression):
            check(time.monotonic() < deadline, f'{what}: never came; the page says: ' +
                  self.evaluate('document.body.innerText'))
            time.sleep(0.05)

    def open(self, url):
        self.call('Page.navigate', url=url)
        self.await_true(f'document.readyState === "complete" && location.href === {json.dumps(url)}', url)

    def size(self, width, height):
        self.call('Emulation.setDeviceMetricsOverride', width=width, height=height, deviceScaleFactor=1,
                  mobile=False)
        # Two frames: the chart follows the size.
        self.evaluate('new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => done(1))))')

    def scheme(self, name):
        self.call('Emulation.setEmulatedMedia', features=[{'name': 'prefers-color-scheme', 'value': name}])

    def key(self, name, code):
        for kind in ('rawKeyDown', 'keyUp'):
            self.call('Input.dispatchKeyEvent', type=kind, key=name, code=name, windowsVirtualKeyCode=code)
        if name == 'Enter':
            self.call('Input.dispatchKeyEvent', type='char', key=name, text='\r')

    def screenshot(self, path):
        shot = self.call('Page.captureScreenshot', format='png', captureBeyondViewport=True)
        with open(path, 'wb') as file:
            file.write(base64.b64decode(shot['data']))
        check(os.path.getsize(path) > 5000, f'{path} shows something')

    def close(self):
        try:
            self.session = None
            self.call('Browser.close')
            self.process.wait(PATIENCE_S)
        except (AssertionError, OSError, subprocess.TimeoutExpired):
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
        os.close(self.write_end)
        os.close(self.read_end)


# The ratio of the luminances of text and what is behind it, as the accessibility guidelines count it.
CONTRAST = r'''
(selector) => {
  const parts = (colour) => colour.match(/[\d.]+/g).map(Number);
  const luminance = (rgb) => rgb.map((value) => {
    value /= 255;
    return value <= 0.03928 ? value / 12.92 : Math.pow((value + 0.055) / 1.055, 2.4);
  }).reduce((sum, value, index) => sum + value * [0.2126, 0.7152, 0.0722][index], 0);
  const over = (top, below) => below.map((value, index) => value + (top[index] - value) * (top[3] ?? 1));
  const behind = (element) => {
    if (!element) return [255, 255, 255];
    return over(parts(getComputedStyle(element).backgroundColor), behind(element.parentElement));
  };
  let worst = 99;
  for (const element of document.querySelectorAll(selector)) {
    const style = getComputedStyle(element);
    if (style.display === 'none') continue;
    const ink = element.namespaceURI.endsWith('svg') ? style.fill : style.color;
    const [a, b] = [luminance(parts(ink).slice(0, 3)), luminance(behind(element))];
    worst = Math.min(worst, (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05));
  }
  return worst;
}
'''
TEXT = ('h1', 'header p', '#score', '#remote', '#point', 'dt', 'dd', 'td', 'th', '#grid text', 'a', '#notice')


def check_contrast(page, what):
    for selector in TEXT:
        ratio = page.evaluate(f'({CONTRAST})({json.dumps(selector)})')
        check(ratio >= 4.5, f'{what}: text of {selector} stands out from its ground by {ratio:.2f} only')


def check_fits(page, what):
    wide, room = page.evaluate('[document.documentElement.scrollWidth, document.documentElement.clientWidth]')
    check(wide <= room, f'{what}: the page is {wide} wide, the window {room}')


def check_figures(page):
    page.await_true('document.getElementById("score").textContent === "0.9700"', 'the score')
    check(page.text('remote') == '3.0 % crossed to another node', page.text('remote'))
    check(page.text('operations') == '21,000,000', page.text('operations'))
    check(page.text('loops') == f'{1000 + DUMPS - 1:,}', page.text('loops'))
    check(page.evaluate('getComputedStyle(document.getElementById("notice")).display') == 'none',
          'fresh figures need no notice: ' + page.text('notice'))

    free = page.evaluate('[...document.querySelectorAll("#nodes tr")].map((row) => '
                         '[...row.children].map((cell) => cell.textContent))')
    check(free == [['0', '48.0 GiB', '0 B'], ['1', '12.5 GiB', '0 B'], ['2', '101 GiB', '0 B'],
                   ['3', '717 MiB', '0 B']], f'free memory: {free}')
    bars = page.evaluate('[...document.querySelectorAll(".bar")].map((bar) => bar.getBoundingClientRect().width)')
    check(bars[2] > bars[0] > bars[1] > bars[3] > 0, f'bars: {bars}')

    cells = page.evaluate('[...document.querySelectorAll("#matrix tbody tr")].map((row) => '
                          '[...row.querySelectorAll("td")].map((cell) => '
                          '[cell.textContent, getComputedStyle(cell).backgroundColor]))')
    check([len(row) for row in cells] == [NODES] * NODES, f'heat map: {cells}')
    check(all(cells[node][node][0] == '0' for node in range(NODES)), f'diagonal: {cells}')

    def heat(colour):
        parts = colour[colour.index('(') + 1:-1].split(',')
        return float(parts[3]) if len(parts) == 4 else 1.0
    check(cells[0][1][0].endswith(' MiB') and heat(cells[0][1][1]) > heat(cells[0][2][1]) > heat(cells[0][0][1]),
          f'more is hotter: {cells[0]}')

    check(page.evaluate('document.getElementById("line").getAttribute("d").split("L").length') > DUMPS * 0.8,
          'the chart shows the dumps of the last ten minutes')
    labels = page.evaluate('[...document.querySelectorAll("#grid text")].map((text) => text.textContent)')
    check('now' in labels and '1.00' in labels, f'axes: {labels}')
    inside = page.evaluate('''[...document.querySelectorAll("#grid text")].every((text) => {
        const box = text.getBoundingClientRect(), chart = document.getElementById("chart").getBoundingClientRect();
        return box.left >= chart.left - 1 && box.right <= chart.right + 1 && box.bottom <= chart.bottom + 1; })''')
    check(inside, 'no label of the chart is cut off')


def check_keyboard(page):
    order = []
    for _ in range(4):
        page.key('Tab', 9)
        order.append(page.evaluate('document.activeElement.id || document.activeElement.getAttribute("href") || '
                                   'document.activeElement.className'))
    check(order == ['chart', 'scroll', 'metrics', 'state.json'], f'tab order: {order}')
    outline = page.evaluate('getComputedStyle(document.activeElement).outlineStyle')
    check(outline == 'solid', f'the focus can be seen: {outline}')
    page.evaluate('document.getElementById("chart").focus()')
    page.key('ArrowLeft', 37)
    newest = page.text('point')
    page.key('ArrowLeft', 37)
    before = page.text('point')
    check(newest.endswith(': 0.9700') and before != newest, f'the chart by arrow keys: {newest}, {before}')
    page.key('Home', 36)
    page.key('End', 35)
    check(page.text('point') == newest, f'back at the newest point: {page.text("point")}')


def check_everything(program, browser, directory, scratch):
    path = os.path.join(scratch, 'metrics.bin')

    def shot(name):
        page.screenshot(os.path.join(directory, name + '.png'))

    exporter = Exporter(program, path)
    page = None
    try:
        start = time.time() - (DUMPS - 1) * PERIOD_S
        for index in range(DUMPS):
            dip = 0.22 if 70 <= index < 78 else 0.0
            wave = 0.012 * math.sin((DUMPS - 1 - index) / 6)
            dump(path, record(1000 + index, 0.97 - dip + wave), start + index * PERIOD_S)
            exporter.scrape()
        page = Browser(browser, os.path.join(scratch, 'profile'))
        page.scheme('light')
        page.size(1280, 1100)
        page.open(exporter.url)
        check_figures(page)
        check_fits(page, 'wide')
        check_contrast(page, 'light')
        shot('light-1280')
        light = page.evaluate('getComputedStyle(document.body).backgroundColor')

        page.scheme('dark')
        dark = page.evaluate('getComputedStyle(document.body).backgroundColor')
        check(light == 'rgb(255, 255, 255)' and dark != light, f'dark mode: {light}, {dark}')
        check_contrast(page, 'dark')
        shot('dark-1280')

        page.size(400, 1300)
        check_fits(page, 'narrow')
        shot('dark-400')
        page.scheme('light')
        shot('light-400')
        check_keyboard(page)

        dump(path, record(2000, 0.97, 16), time.time())
        page.await_true('document.querySelectorAll("#matrix tbody td").length === 256', '16 nodes')
        check_fits(page, 'narrow with 16 nodes')
        shot('nodes16-400')
        page.size(1280, 1700)
        check_fits(page, 'wide with 16 nodes')
        shot('nodes16-1280')

        dump(path, record(3000, 0.97, moved=False), time.time() - 3600)
        page.await_true('document.getElementById("notice").textContent.startsWith("These figures are stale: 60 min")',
                        'the notice of stale figures')
        check(page.text('moved') == 'Nothing was moved in the last interval.', page.text('moved'))
        page.size(1280, 1100)
        check_contrast(page, 'stale')
        shot('stale-1280')
        page.size(400, 1300)
        page.scheme('dark')
        check_contrast(page, 'stale, dark')
        check_fits(page, 'stale')
        shot('stale-dark-400')

        dump(path, record(3000, 0.97)[:3], time.time())
        page.await_true('document.getElementById("notice").textContent.includes("holds 3 bytes, expected 1248")',
                        'the notice of a fault')
        check(page.text('score') == '\u2013', 'no figure without a file')
        check(page.evaluate('document.getElementById("memory").getBoundingClientRect().height') == 0,
              'no memory without a file')
        check_fits(page, 'fault')
        shot('fault-dark-400')

        dump(path, record(3001, 1.0, operations=0), time.time())
        page.await_true('document.getElementById("quality").textContent.includes("measured")',
                        'the notice that nothing was measured')
        check(page.text('score') == '\u2013' and page.text('remote') == '',
              f'no score where nothing was measured: {page.text("score")} {page.text("remote")}')

        exporter.process.send_signal(signal.SIGSTOP)
        page.await_true('document.getElementById("notice").textContent.startsWith("The exporter does not answer")',
                        'the notice of an exporter that hangs')
        exporter.process.send_signal(signal.SIGCONT)
        page.await_true('document.getElementById("notice").textContent === ""', 'the end of that notice')

        check(exporter.stop() == 0, 'the exporter ends')
        page.await_true('document.getElementById("notice").textContent.startsWith("The exporter does not answer")',
                        'the notice of a silent exporter')
        refused = [error for error in page.errors if 'ERR_CONNECTION' not in error]
        check(not refused, f'errors: {refused}')
        hosts = {urllib.parse.urlsplit(url).netloc for url in page.urls if not url.startswith('data:')}
        check(hosts == {f'127.0.0.1:{exporter.port}'}, f'requests go to {hosts}')
        check(any(url.endswith('/state.json') for url in page.urls), 'the page asks for its figures')

        exporter = Exporter(program, path)
        page.open(exporter.url)
        page.evaluate('document.querySelector("a[href=metrics]").focus()')
        page.key('Enter', 13)
        page.await_true('location.pathname === "/metrics" && document.body.innerText.includes("tarnix_up 1")',
                        'the metrics behind the link')
    finally:
        if page:
            page.close()
        exporter.stop()


def main():
    program, directory = sys.argv[1:]
    browser = shutil.which('chromium')
    if not browser:
        print('skipped: Chromium is not installed (Debian: chromium)')
        return SKIPPED
    os.makedirs(directory, exist_ok=True)
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as scratch:
        check_everything(program, browser, directory, scratch)
    print(f'the page is as it should be; screenshots in {directory}')
    return 0


if __name__ == '__main__':
    sys.exit(main())
