"""The collector's web view as a person sees it, in headless Chromium: the demo application's
hits arriving live, the filters, a tree unfolded by a click, markup shown as text, a page of
10,000 hits, and a view that only loopback names may read.

usage: test_view.py KEO_DEMO OUTPUT_DIR   (writes OUTPUT_DIR/view.png)
"""
import http.client, os, re, shutil, subprocess, sys, tempfile, threading, time, unittest
from urllib.parse import quote

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

DEMO, OUT = sys.argv[1], sys.argv[2]
MARKUP = '<img src=x onerror="window.keoRan=1">'
FIRST_TITLES = ['lifecycle install #1', 'state "Home"', 'state "Product"', 'action "Add to cart"',
                'state "Cart"', 'action "Checkout"',
                'location 45.50200, -73.56700 in "Demo HQ" (41 m away)',
                'location 48.85837, 2.29448, outside every point of interest']


def wait_for(what, timeout=30):
    deadline = time.monotonic() + timeout
    while True:
        value = what()
        if value or time.monotonic() > deadline:
            return value
        time.sleep(0.02)


class View(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.makedirs(OUT, exist_ok=True)
        # Lingers long enough for every test, and ends by itself should this script not.
        cls.demo = subprocess.Popen([DEMO, '--plain', '--dir', os.path.join(OUT, 'demo-run'),
                                     '--linger', '200', 'launch', 'screens', 'location', 'media'],
                                    stdout=subprocess.PIPE, text=True)
        cls.addClassCleanup(lambda: (cls.demo.terminate(), cls.demo.wait()))
        cls.url = next(filter(None, (re.search(r'view +(http://\S+)', line)
                                     for line in cls.demo.stdout))).group(1)
        cls.port = int(cls.url.split(':')[2].strip('/'))
        cls.lines = []  # read all along: a full pipe would stall the collector's threads
        threading.Thread(target=lambda: cls.lines.extend(cls.demo.stdout), daemon=True).start()
        profile = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, profile, ignore_errors=True)
        options = webdriver.ChromeOptions()
        for flag in ('--headless', '--no-sandbox', '--disable-gpu', '--disable-quic',
                     '--no-first-run', '--disable-background-networking', '--window-size=1280,900',
                     '--disable-component-update', '--disable-sync', '--disable-dev-shm-usage',
                     '--user-data-dir=' + profile):
            options.add_argument(flag)
        cls.browser = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.get(cls.url)  # before the first hit: every hit must come live
        assert wait_for(lambda: any('view stays at' in line for line in cls.lines), 120), cls.lines

    def send(self, query, host=None):
        connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=10)
        connection.request('GET', '/b/ss/rs/0/BBN-4.0.0/s1?AQB=1&ndh=1' + query + '&AQE=1',
                           headers={'Host': host} if host else {})
        status = connection.getresponse().status
        connection.close()
        return status

    def js(self, script, *args):
        return self.browser.execute_script(script, *args)

    def visible_titles(self):
        return self.js("return [...document.querySelectorAll('.hit:not([hidden]) .title')]"
                       ".map(e => e.textContent)")

    def titles_once(self, count, timeout=30):
        """The titles shown once there are count of them (or what is shown at the time-out)."""
        wait_for(lambda: len(self.visible_titles()) == count, timeout)
        return self.visible_titles()

    def row(self, title):
        return self.browser.find_element(
            By.XPATH, f"//article[.//span[@class='title' and text()='{title}']]")

    def tearDown(self):
        self.browser.find_element(By.ID, 'filter').clear()
        self.js("document.getElementById('filter').dispatchEvent(new Event('input'))")
        for chip in self.browser.find_elements(By.CSS_SELECTOR, '.chip[aria-pressed="true"]'):
            chip.click()

    def test_1_hits_arrive_in_order_with_titles_and_counts(self):
        self.assertIn('   OK: every hit the demo sent arrived\n', self.lines)
        got = re.search(r'hits received +(\d+) +\((\d+) dup', ''.join(self.lines))
        arrived = int(got.group(1)) + int(got.group(2))
        titles = self.titles_once(arrived)
        self.assertEqual(titles[:8], FIRST_TITLES)
        self.assertTrue(all(t.startswith('media ') for t in titles[8:]), titles)
        chips = [c.text for c in self.browser.find_elements(By.CLASS_NAME, 'chip')]
        self.assertEqual(chips[:4], ['state 3', 'action 2', 'lifecycle 1', 'location 2'])
        self.assertEqual(chips[4], 'media %d' % (len(titles) - 8))
        # A hit sent now is on the page within half a second.
        sent = time.monotonic()
        self.assertEqual(self.send('&pageName=Late'), 200)
        self.assertTrue(wait_for(lambda: 'state "Late"' in self.visible_titles(), 0.5))
        print('hit on the page %.0f ms after it was sent' % ((time.monotonic() - sent) * 1000))

    def test_2_text_filter_finds_a_context_value(self):
        self.browser.find_element(By.ID, 'filter').send_keys('BOOKS')
        self.assertEqual(self.titles_once(1), ['state "Product"'])

    def test_3_kind_filter_hides_the_others(self):
        self.browser.find_element(By.CSS_SELECTOR, '.chip.kind-action').click()
        self.assertEqual(self.titles_once(2), ['action "Add to cart"', 'action "Checkout"'])

    def test_4_a_folded_tree_unfolds_on_click(self):
        home = self.row('state "Home"')
        self.assertNotIn('items = 0', home.text)
        home.find_element(By.CSS_SELECTOR, 'details.tree > summary').click()
        self.assertTrue(wait_for(lambda: 'items = 0' in home.text, 2))
        self.assertIn('shop.\ncart.\nitems = 0', home.text)
        self.js('window.scrollTo(0, 0)')
        self.browser.save_screenshot(os.path.join(OUT, 'view.png'))

    def test_5_markup_is_shown_as_text_and_runs_nothing(self):
        markup = quote(MARKUP)
        self.assertEqual(self.send('&pageName=' + markup + '&c.&q=' + markup + '&.c'), 200)
        row = wait_for(lambda: self.browser.find_elements(
            By.XPATH, "//article[.//span[@class='title' and starts-with(text(), 'state \"<img')]]"))
        self.assertTrue(row, 'no title shows the markup as text: %s' % self.visible_titles()[-1])
        self.assertEqual(row[0].find_element(By.CLASS_NAME, 'title').text, 'state "%s"' % MARKUP)
        row[0].find_element(By.CSS_SELECTOR, 'details.tree > summary').click()
        self.assertTrue(wait_for(lambda: 'q = ' + MARKUP in row[0].text, 2), row[0].text)
        time.sleep(0.5)  # an image that failed to load would have fired its handler by now
        self.assertEqual(
            self.js('return [window.keoRan, document.querySelectorAll("#hits img").length]'),
            [None, 0])

    def test_6_view_answers_loopback_names_only_and_collection_any(self):
        for host, path, status in [
                ('evil.example:%d', '/', 403), ('evil.example', '/view/events', 403),
                ('127.0.0.1.evil.example:%d', '/view/view.js', 403), ('localhost:%d', '/', 200),
                ('LOCALHOST', '/view/view.css', 200), ('[::1]:%d', '/', 200),
                ('localhost', '/view/none', 404)]:
            with self.subTest(host=host, path=path):
                connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=5)
                connection.request('GET', path,
                                   headers={'Host': host.replace('%d', str(self.port))})
                self.assertEqual(connection.getresponse().status, status)
                connection.close()
        self.assertEqual(self.send('&pageName=Rebound', host='evil.example'), 200)
        self.assertTrue(wait_for(lambda: 'state "Rebound"' in self.visible_titles(), 2))

    def test_7_ten_thousand_hits_keep_the_page_responsive(self):
        self.js("window.keoGaps = []; let last = performance.now();"
                "(function tick(now) { keoGaps.push(now - last); last = now;"
                " requestAnimationFrame(tick); })(last);")
        connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=10)
        for i in range(10000):
            connection.request('GET', '/b/ss/rs/0/BBN-4.0.0/s%d?AQB=1&ndh=1&pageName=Bulk%d'
                               '&c.&bulk.n=%d&.c&AQE=1' % (i, i, i))
            connection.getresponse().read()
        connection.close()
        started = time.monotonic()
        self.browser.find_element(By.ID, 'filter').send_keys('bulk9999')
        self.assertEqual(self.titles_once(1, 60), ['state "Bulk9999"'])
        print('10,000 hits on the page and filtered %.1f s after the last was sent; longest frame'
              ' %.0f ms' % (time.monotonic() - started, self.js('return Math.max(...keoGaps)')))
        self.assertLess(self.js('return Math.max(...keoGaps)'), 500)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
