#include "headless_browser.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>
#include <thread>

extern char** environ;

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
    if (pipe(commands) != 0 || pipe(answers) != 0) {
        throw browser_error(std::string("pipe: ") + std::strerror(errno));
    }
    std::string const log = profile_dir + "/chromium.log";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    // The protocol pipe: the browser reads commands on 3, answers on 4.
    posix_spawn_file_actions_adddup2(&actions, commands[0], 3);
    posix_spawn_file_actions_adddup2(&actions, answers[1], 4);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // Its own process group, so that its helper processes can be ended with it.
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);

    std::vector<std::string> arguments{
        "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
        "--no-first-run", "--disable-background-networking", "--disable-component-update",
        "--disable-sync", "--disable-extensions", "--user-data-dir=" + profile_dir,
        "--remote-debugging-pipe",
        // Networking off: no name resolves and every connection goes to a
        // proxy that is not there.
        "--host-resolver-rules=MAP * ~NOTFOUND", "--proxy-server=127.0.0.1:9",
        "--proxy-bypass-list=<-loopback>",
        "--window-size=" + std::to_string(width) + "," + std::to_string(height), "about:blank"};
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    int rc = posix_spawnp(&pid_, "chromium", &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(commands[0]);
    close(answers[1]);
    to_browser_ = commands[1];
    from_browser_ = answers[0];
    if (rc != 0) {
        pid_ = -1;
        throw browser_error(std::string("cannot start chromium: ") + std::strerror(rc));
    }
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
    if (pid_ > 0) {
        try {
            call("Browser.close", json::object(), false);
        } catch (std::exception const&) {
            // Ended below in any case.
        }
        auto const deadline = Clock::now() + std::chrono::seconds(10);
        int status = 0;
        while (waitpid(pid_, &status, WNOHANG) == 0) {
            if (Clock::now() > deadline) {
                kill(-pid_, SIGKILL);
                waitpid(pid_, &status, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        // Helpers that outlive the browser process.
        kill(-pid_, SIGKILL);
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
