#include "headless_browser.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>

namespace vexa::test {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

namespace {

// A large page loads in well under this on a loaded machine.
constexpr std::chrono::seconds kAnswerTime{90};

std::runtime_error browser_error(std::string const& what) {
    return std::runtime_error("headless chromium: " + what);
}

int key_code(std::string const& key) {
    static std::map<std::string, int> const codes{
        {"Tab", 9},         {"Enter", 13},     {"ArrowLeft", 37}, {"ArrowUp", 38},
        {"ArrowRight", 39}, {"ArrowDown", 40}, {"Home", 36},      {"End", 35}};
    auto found = codes.find(key);
    if (found == codes.end()) {
        throw browser_error("no key code for " + key);
    }
    return found->second;
}

}  // namespace

HeadlessBrowser::HeadlessBrowser(std::string const& profile_dir, int width, int height) {
    // A browser that died must fail the test, not kill it with SIGPIPE.
    signal(SIGPIPE, SIG_IGN);
    int commands[2];
    int answers[2];
    if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) {
        throw browser_error(std::string("pipe: ") + std::strerror(errno));
    }
    to_browser_ = commands[1];
    from_browser_ = answers[0];
    std::string const log = profile_dir + "/chromium.log";
    int const log_fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);

    ProgramRun run;
    run.arguments = {"chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                     "--no-first-run", "--disable-background-networking",
                     "--disable-component-update", "--disable-sync", "--disable-extensions",
                     "--user-data-dir=" + profile_dir, "--remote-debugging-pipe",
                     // Networking off: no name resolves and every connection goes to a
                     // proxy that is not there.
                     "--host-resolver-rules=MAP * ~NOTFOUND", "--proxy-server=127.0.0.1:9",
                     "--proxy-bypass-list=<-loopback>",
                     "--window-size=" + std::to_string(width) + "," + std::to_string(height),
                     "about:blank"};
    // The protocol pipe: the browser reads commands on 3, answers on 4.
    run.descriptors = {{1, log_fd}, {3, commands[0]}, {4, answers[1]}};
    run.error_into_output = true;
    // Its own process group, so that its helper processes can be ended with it.
    run.own_process_group = true;
    auto close_the_browsers_ends = [&] {
        for (int fd : {log_fd, commands[0], answers[1]}) {
            close(fd);
        }
    };
    try {
        browser_.emplace(run);
    } catch (std::exception const& error) {
        close_the_browsers_ends();
        throw browser_error(error.what());
    }
    close_the_browsers_ends();
    auto target = call("Target.createTarget", {{"url", "about:blank"}}, false);
    auto attached = call("Target.attachToTarget",
                         {{"targetId", target.at("targetId")}, {"flatten", true}}, false);
    session_ = attached.at("sessionId").get<std::string>();
    call("Emulation.setDeviceMetricsOverride",
         {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", false}});
    call("Page.enable", json::object());
    call("Network.enable", json::object());
}

HeadlessBrowser::~HeadlessBrowser() {
    if (browser_) {
        try {
            call("Browser.close", json::object(), false);
        } catch (std::exception const&) {
            // Ended below in any case.
        }
        browser_->stop(std::chrono::seconds(10));
    }
    close(to_browser_);
    close(from_browser_);
}

json HeadlessBrowser::next_message(Clock::time_point deadline) {
    for (;;) {
        auto end = buffer_.find('\0');
        if (end != std::string::npos) {
            auto message = json::parse(buffer_.substr(0, end));
            buffer_.erase(0, end + 1);
            return message;
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            throw browser_error("no answer in time");
        }
        pollfd ready{from_browser_, POLLIN, 0};
        if (poll(&ready, 1, static_cast<int>(left.count())) < 0 && errno != EINTR) {
            throw browser_error(std::string("poll: ") + std::strerror(errno));
        }
        if (ready.revents == 0) {
            continue;
        }
        char chunk[65536];
        ssize_t n = read(from_browser_, chunk, sizeof chunk);
        if (n <= 0) {
            throw browser_error("the browser closed its pipe");
        }
        buffer_.append(chunk, static_cast<std::size_t>(n));
    }
}

void HeadlessBrowser::note(json const& event) {
    if (event.value("method", "") == "Network.requestWillBeSent") {
        requests_.push_back(event.at("params").at("request").at("url").get<std::string>());
    }
    events_.push_back(event);
}

json HeadlessBrowser::call(std::string const& method, json params, bool in_page) {
    int const id = ++next_id_;
    json message{{"id", id}, {"method", method}, {"params", std::move(params)}};
    if (in_page) {
        message["sessionId"] = session_;
    }
    std::string text = message.dump();
    text += '\0';
    for (std::size_t done = 0; done < text.size();) {
        ssize_t n = write(to_browser_, text.data() + done, text.size() - done);
        if (n < 0) {
            throw browser_error(method + ": " + std::strerror(errno));
        }
        done += static_cast<std::size_t>(n);
    }
    auto const deadline = Clock::now() + kAnswerTime;
    for (;;) {
        auto answer = next_message(deadline);
        if (!answer.contains("id")) {
            note(answer);
            continue;
        }
        if (answer.at("id") != id) {
            continue;
        }
        if (answer.contains("error")) {
            throw browser_error(method + ": " + answer.at("error").dump());
        }
        return answer.at("result");
    }
}

void HeadlessBrowser::wait_for_event(std::string const& method) {
    auto const deadline = Clock::now() + kAnswerTime;
    for (;;) {
        while (!events_.empty()) {
            auto event = std::move(events_.front());
            events_.pop_front();
            if (event.value("method", "") == method) {
                return;
            }
        }
        auto message = next_message(deadline);
        if (!message.contains("id")) {
            note(message);
        }
    }
}

void HeadlessBrowser::open(std::string const& url) {
    events_.clear();
    requests_.clear();
    call("Page.navigate", {{"url", url}});
    wait_for_event("Page.loadEventFired");
}

json HeadlessBrowser::evaluate(std::string const& expression) {
    auto result =
        call("Runtime.evaluate",
             {{"expression", expression}, {"returnByValue", true}, {"awaitPromise", true}});
    if (result.contains("exceptionDetails")) {
        throw browser_error("the page threw on " + expression + ": " +
                            result.at("exceptionDetails").dump());
    }
    return result.at("result").value("value", json());
}

void HeadlessBrowser::click(std::string const& selector) {
    auto box = evaluate("(() => { const e = document.querySelector(" + json(selector).dump() +
                        "); e.scrollIntoView({block: 'center'}); const r = "
                        "e.getBoundingClientRect(); return [r.x + r.width / 2, r.y + r.height / "
                        "2]; })()");
    for (char const* type : {"mousePressed", "mouseReleased"}) {
        call("Input.dispatchMouseEvent", {{"type", type},
                                          {"x", box.at(0)},
                                          {"y", box.at(1)},
                                          {"button", "left"},
                                          {"clickCount", 1}});
    }
}

void HeadlessBrowser::press(std::string const& key) {
    int const code = key_code(key);
    for (char const* type : {"rawKeyDown", "keyUp"}) {
        call("Input.dispatchKeyEvent", {{"type", type},
                                        {"key", key},
                                        {"code", key},
                                        {"windowsVirtualKeyCode", code},
                                        {"nativeVirtualKeyCode", code}});
    }
}

std::string HeadlessBrowser::screenshot() {
    auto shot = call("Page.captureScreenshot", {{"format", "png"}});
    return base64_decoded(shot.at("data").get<std::string>());
}

std::string base64_decoded(std::string const& text) {
    std::string result;
    unsigned bits = 0;
    int count = 0;
    for (char c : text) {
        if (c == '=') {
            break;
        }
        char const* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        char const* at = c == '\0' ? nullptr : std::strchr(alphabet, c);
        if (at == nullptr) {
            throw std::runtime_error(std::string("not base64: '") + c + "'");
        }
        bits = (bits << 6) | static_cast<unsigned>(at - alphabet);
        count += 6;
        if (count >= 8) {
            count -= 8;
            result += static_cast<char>((bits >> count) & 0xFF);
        }
    }
    return result;
}

}  // namespace vexa::test
