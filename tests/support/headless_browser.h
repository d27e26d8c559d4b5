// A headless Chromium driven through its DevTools protocol over a pipe, with
// every network route closed: the tests open pages from disk and watch what
// they request.
#ifndef VEXA_TESTS_SUPPORT_HEADLESS_BROWSER_H_
#define VEXA_TESTS_SUPPORT_HEADLESS_BROWSER_H_

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "program.h"

namespace vexa::test {

class HeadlessBrowser {
  public:
    // Starts chromium with a new empty profile in `profile_dir` and opens
    // one blank page of `width` x `height` pixels. Throws std::runtime_error
    // when the browser does not start or answer.
    HeadlessBrowser(std::string const& profile_dir, int width, int height);
    // Closes the browser and waits for it.
    ~HeadlessBrowser();
    HeadlessBrowser(HeadlessBrowser const&) = delete;
    HeadlessBrowser& operator=(HeadlessBrowser const&) = delete;

    // Loads `url` in the page and returns when its load event fired.
    void open(std::string const& url);
    // The value of the JavaScript `expression` evaluated in the page
    // (awaited when it is a promise). Throws std::runtime_error with the
    // page's exception text.
    nlohmann::json evaluate(std::string const& expression);
    // A left click at the centre of the first element matching `selector`.
    void click(std::string const& selector);
    // One key pressed and released, e.g. "Tab" or "ArrowRight".
    void press(std::string const& key);
    // The page's screenshot as PNG bytes.
    std::string screenshot();
    // Every URL the page requested since it was opened.
    std::vector<std::string> const& requested_urls() const { return requests_; }

  private:
    nlohmann::json call(std::string const& method, nlohmann::json params, bool in_page = true);
    nlohmann::json next_message(std::chrono::steady_clock::time_point deadline);
    void wait_for_event(std::string const& method);
    void note(nlohmann::json const& event);

    std::optional<Program> browser_;
    int to_browser_ = -1;
    int from_browser_ = -1;
    std::string buffer_;
    int next_id_ = 0;
    std::string session_;
    std::deque<nlohmann::json> events_;
    std::vector<std::string> requests_;
};

// Standard base64 decoding; throws std::runtime_error on a bad character.
std::string base64_decoded(std::string const& text);

}  // namespace vexa::test

#endif  // VEXA_TESTS_SUPPORT_HEADLESS_BROWSER_H_
