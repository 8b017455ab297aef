"""The collector's web view as a person sees it, in headless Chromium: the demo application's
hits arriving live, the filters, a tree unfolded by a click, markup shown as text.

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
    while not (value := what()) and time.monotonic() < deadline:
        time.sleep(0.02)
    return value


class View(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.makedirs(OUT, exist_ok=True)
        # Lingers long enough for every test, and ends by itself should this script not.
        cls.demo = subprocess.Popen([DEMO, '--plain', '--dir', os.path.join(OUT, 'demo-run'),
                                     '--linger', '200', 'launch', 'screens', 'location', 'media'],
                                    stdout=subprocess.PIPE, text=True, errors='replace')
        cls.addClassCleanup(lambda: (cls.demo.terminate(), cls.demo.wait()))
        cls.url = next(filter(None, (re.search(r'view +(http://\S+)', line)
                                     for line in cls.demo.stdout))).group(1)
        cls.port = int(cls.url.split(':')[2].strip('/'))
        cls.lines = []  # read all along: a full pipe would stall the collector's threads
        threading.Thread(target=lambda: cls.lines.extend(cls.demo.stdout), daemon=True).start()
        profile = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, profile, ignore_errors=True)
        options = webdriver.ChromeOptions()
        for flag in ('--headless --no-sandbox --disable-gpu --disable-quic --no-first-run '
                     '--disable-background-networking --window-size=1280,900 --disable-sync '
                     '--disable-component-update --disable-dev-shm-usage').split():
            options.add_argument(flag)
        options.add_argument('--user-data-dir=' + profile)
        cls.browser = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.get(cls.url)  # before the first hit: every hit must come live
        assert wait_for(lambda: any('view stays at' in line for line in cls.lines), 120), cls.lines

    def send(self, query, host=None, path='/b/ss/rs/0/BBN-4.0.0/s1?AQB=1&ndh=1%s&AQE=1'):
        connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=10)
        connection.request('GET', path.replace('%s', query), headers={'Host': host} if host else {})
        status = connection.getresponse().status
        connection.close()
        return status

    def titles(self, count=None, timeout=30):
        """The titles shown, once there are count of them (or at the time-out)."""
        shown = lambda: self.browser.execute_script(
            "return [...document.querySelectorAll('.hit:not([hidden]) .title')]"
            ".map(e => e.textContent)")
        wait_for(lambda: count is None or len(shown()) == count, timeout)
        return shown()

    def row(self, title_start):
        return wait_for(lambda: self.browser.find_elements(
            By.XPATH, f"//article[.//span[@class='title' and starts-with(text(), '{title_start}')]]"))

    def tearDown(self):
        self.browser.find_element(By.ID, 'filter').clear()
        self.browser.execute_script(
            "document.getElementById('filter').dispatchEvent(new Event('input'))")
        for chip in self.browser.find_elements(By.CSS_SELECTOR, '.chip[aria-pressed="true"]'):
            chip.click()

    def test_1_hits_arrive_in_order_with_titles_and_counts(self):
        self.assertIn('   OK: every hit the demo sent arrived\n', self.lines)
        got = re.search(r'hits received +(\d+) +\((\d+) dup', ''.join(self.lines))
        titles = self.titles(int(got.group(1)) + int(got.group(2)))
        self.assertEqual(titles[:8], FIRST_TITLES)
        self.assertTrue(all(t.startswith('media ') for t in titles[8:]), titles)
        chips = [c.text for c in self.browser.find_elements(By.CLASS_NAME, 'chip')]
        self.assertEqual(chips[:5], ['state 3', 'action 2', 'lifecycle 1', 'location 2',
                                 'media %d' % (len(titles) - 8)])
        # A hit sent now is on the page within half a second.
        sent = time.monotonic()
        self.assertEqual(self.send('&pageName=Late'), 200)
        self.assertTrue(wait_for(lambda: 'state "Late"' in self.titles(), 0.5))
        print('hit on the page %.0f ms after it was sent' % ((time.monotonic() - sent) * 1000))

    def test_2_text_and_kind_filters(self):
        self.browser.find_element(By.ID, 'filter').send_keys('BOOKS')
        self.assertEqual(self.titles(1), ['state "Product"'])
        self.tearDown()
        self.browser.find_element(By.CSS_SELECTOR, '.chip.kind-action').click()
        self.assertEqual(self.titles(2), ['action "Add to cart"', 'action "Checkout"'])

    def test_3_a_folded_tree_unfolds_on_click(self):
        home = self.row('state "Home"')[0]
        self.assertNotIn('items = 0', home.text)
        home.find_element(By.CSS_SELECTOR, 'details.tree > summary').click()
        self.assertTrue(wait_for(lambda: 'items = 0' in home.text, 2))
        self.assertIn('shop.\ncart.\nitems = 0', home.text)
        self.browser.execute_script('window.scrollTo(0, 0)')
        self.browser.save_screenshot(os.path.join(OUT, 'view.png'))

    def test_4_markup_and_odd_bytes_are_shown_as_text_and_run_nothing(self):
        markup = quote(MARKUP)
        # And a value the view's JSON stream must escape: a quote, a backslash, a line break, a
        # control character and a byte that is no UTF-8.
        raw = '&raw=a%22b%5Cc%0Ad%01e%FF'
        self.assertEqual(self.send('&pageName=' + markup + '&c.&q=' + markup + raw + '&.c'), 200)
        row = self.row('state "<img')
        self.assertTrue(row, 'no title shows the markup as text: %s' % self.titles()[-1])
        self.assertEqual(row[0].find_element(By.CLASS_NAME, 'title').text, 'state "%s"' % MARKUP)
        row[0].find_element(By.CSS_SELECTOR, 'details.tree > summary').click()
        self.assertTrue(wait_for(lambda: 'q = ' + MARKUP in row[0].text, 2), row[0].text)
        self.assertIn('raw = a"b\\c\nd\x01e\ufffd', row[0].get_attribute('textContent'))
        time.sleep(0.5)  # an image that failed to load would have fired its handler by now
        self.assertEqual(self.browser.execute_script(
            'return [window.keoRan, document.querySelectorAll("#hits img").length]'), [None, 0])


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
