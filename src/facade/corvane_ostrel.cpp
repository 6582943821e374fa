// The C front door: each function checks its arguments, turns texts into the C++ front door's
// values and calls it, and lets nothing thrown cross into the C caller.
#include "corvane/corvane_ostrel.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "corvane/CorvaneOtManager.h"
#include "facade/OTScenePublisher.h"
#include "foundation/OTJSONLimits.h"
#include "model/OTConfigurationReader.h"
#include "platform/OTEnvironment.h"
#include "platform/OTHostHTTPTransport.h"
#include "services/OTLogger.h"

struct corvane_observer {
    std::shared_ptr<corvane::CorvaneOtObserver> engine;
};

namespace {
using corvane::CorvaneOtManager;
using nlohmann::json;

// Runs `body`, turning anything thrown into CORVANE_ERROR_INTERNAL.
template <class Body>
corvane_status guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception& e) {
        OTLog(corvane::OTLogger::kLevelError, "C 接口调用失败：%@", std::string(e.what()));
    } catch (...) {
        OTLog(corvane::OTLogger::kLevelError, "C 接口调用失败");
    }
    return CORVANE_ERROR_INTERNAL;
}

// The JSON of a text that must be given; `status` says why there is none.
json parsed(const char* text, corvane_status& status) {
    if (text == nullptr) {
        status = CORVANE_ERROR_NULL_ARGUMENT;
        return json(json::value_t::discarded);
    }
    auto value = corvane::OTJSONLimits::parse(text);
    status = value.is_discarded() ? CORVANE_ERROR_INVALID_JSON : CORVANE_OK;
    return value;
}

json parsedObject(const char* text, corvane_status& status) {
    auto value = parsed(text, status);
    if (status == CORVANE_OK && !value.is_object()) status = CORVANE_ERROR_INVALID_ARGUMENT;
    return value;
}

// A JSON value as the text a C callback is handed; invalid UTF-8 is replaced, never thrown on.
std::string callbackText(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

// Hands each record to a C callback as JSON text; a NULL callback stops the records.
void listenWith(void (*listen)(std::function<void(const json&)>), void (*callback)(void*, const char*), void* user) {
    (void)guarded([&] {
        if (callback == nullptr) {
            listen(nullptr);
        } else {
            listen([callback, user](const json& record) { callback(user, callbackText(record).c_str()); });
        }
        return CORVANE_OK;
    });
}

// Hands the engine behind `observer` the JSON object `text` holds.
template <class Hand>
corvane_status toEngine(corvane_observer* observer, const char* text, Hand&& hand) noexcept {
    return guarded([&] {
        if (observer == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        corvane_status status = CORVANE_OK;
        const auto object = parsedObject(text, status);
        if (status == CORVANE_OK) hand(*observer->engine, object);
        return status;
    });
}

// Runs `body` on the main thread only: scenes and pages belong to it. What it changed on screen is
// published at the next corvane_run_main_queue, which a host with a waker is woken for.
template <class Body>
corvane_status onMainThread(Body&& body) noexcept {
    return guarded([&] {
        const auto environment = corvane::OTEnvironment::current();
        if (!environment->scheduler().isMainThread()) return CORVANE_ERROR_WRONG_THREAD;
        const auto status = body();
        environment->mainQueue()->async([] {});
        return status;
    });
}

// The environment's transport for the host's HTTP client, made on first use.
std::shared_ptr<corvane::OTHostHTTPTransport> hostHTTP() {
    return corvane::OTEnvironment::current()->singleton<corvane::OTHostHTTPTransport>(
        [] { return std::make_shared<corvane::OTHostHTTPTransport>(); });
}

// Hands a request to the host's C callback.
void sendToHost(corvane_http_send_callback send, void* user, std::uint64_t id,
                const corvane::OTHTTPTransport::Request& request) {
    json headers = json::array();
    for (const auto& [name, value] : request.headers) headers.push_back({name, value});
    const auto* body = request.body ? reinterpret_cast<const std::uint8_t*>(request.body->data()) : nullptr;
    send(user, id, request.method.c_str(), request.url.c_str(), callbackText(headers).c_str(), body,
         request.body ? request.body->size() : 0, std::chrono::duration<double>(request.timeout).count());
}

// The configuration a JSON object describes; nothing when a field has the wrong kind.
std::shared_ptr<corvane::CorvaneOtConfig> configurationFrom(const json& object) {
    auto config = std::make_shared<corvane::CorvaneOtConfig>();
    std::string problem;
    if (!corvane::OTConfigurationReader::apply(object, *config, problem)) return nullptr;
    return config;
}
}  // namespace

extern "C" {

const char* corvane_sdk_version(void) {
    static const std::string version = CorvaneOtManager::SDKVersion();
    return version.c_str();
}

corvane_observer* corvane_observer_get(const char* group_identifier) {
    if (group_identifier == nullptr) return nullptr;
    try {
        auto engine = CorvaneOtManager::getObserverListener(group_identifier);
        return engine ? new corvane_observer{std::move(engine)} : nullptr;
    } catch (...) {
        return nullptr;
    }
}

void corvane_observer_release(corvane_observer* observer) { delete observer; }

corvane_status corvane_observer_event(corvane_observer* observer, const char* event_json) {
    return toEngine(observer, event_json, [](auto& engine, const json& event) { engine.onEventDataReceived(event); });
}

corvane_status corvane_observer_profile(corvane_observer* observer, const char* profile_json) {
    return toEngine(observer, profile_json, [](auto& engine, const json& profile) { engine.onUserProfile(profile); });
}

corvane_status corvane_observer_profile_value(corvane_observer* observer, const char* key, const char* value_json) {
    return guarded([&] {
        if (observer == nullptr || key == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        corvane_status status = CORVANE_OK;
        const auto value = parsed(value_json, status);
        if (status == CORVANE_OK) observer->engine->onUserProfile(std::string(key), value);
        return status;
    });
}

corvane_status corvane_start(const char* config_json) {
    return guarded([&] {
        corvane_status status = CORVANE_OK;
        const auto object = parsedObject(config_json, status);
        if (status != CORVANE_OK) return status;
        auto config = configurationFrom(object);
        if (!config) return CORVANE_ERROR_INVALID_ARGUMENT;
        CorvaneOtManager::startWithConfig(config);
        return CORVANE_OK;
    });
}

void corvane_config_log_level(uint64_t level) {
    (void)guarded([&] {
        CorvaneOtManager::configLogLevel(level);
        return CORVANE_OK;
    });
}

void corvane_config_log_file_limit(uint64_t bytes) {
    (void)guarded([&] {
        CorvaneOtManager::configLogFileLimit(bytes);
        return CORVANE_OK;
    });
}

void corvane_set_console(corvane_console_callback callback, void* user) {
    (void)guarded([&] {
        if (callback == nullptr) {
            CorvaneOtManager::setConsole(nullptr);
        } else {
            CorvaneOtManager::setConsole([callback, user](std::int64_t level, const std::string& message) {
                callback(user, level, message.c_str());
            });
        }
        return CORVANE_OK;
    });
}

void corvane_set_dialog_visible(int visible) {
    (void)guarded([&] {
        CorvaneOtManager::setDialogVisible(visible != 0);
        return CORVANE_OK;
    });
}

corvane_status corvane_set_close_label(const char* label) {
    return guarded([&] {
        CorvaneOtManager::setCloseLabel(label != nullptr ? std::optional<std::string>(label) : std::nullopt);
        return CORVANE_OK;
    });
}

corvane_status corvane_set_text_scale(double scale) {
    return guarded([&] {
        if (!std::isfinite(scale)) return CORVANE_ERROR_INVALID_ARGUMENT;
        CorvaneOtManager::setTextScale(scale);
        return CORVANE_OK;
    });
}

void corvane_set_decision_listener(corvane_decision_callback callback, void* user) {
    listenWith(&CorvaneOtManager::setDecisionListener, callback, user);
}

void corvane_set_report_listener(corvane_report_callback callback, void* user) {
    listenWith(&CorvaneOtManager::setReportListener, callback, user);
}

corvane_status corvane_push_track(int64_t type, const char* msg_json, const char* group_identifier) {
    return guarded([&] {
        if (group_identifier == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        corvane_status status = CORVANE_OK;
        const auto message = parsedObject(msg_json, status);
        if (status == CORVANE_OK) CorvaneOtManager::pushTrack(type, message, group_identifier);
        return status;
    });
}

corvane_status corvane_push_token_bytes(const uint8_t* bytes, size_t length, uint64_t provider,
                                        const char* group_identifier) {
    return guarded([&] {
        if (bytes == nullptr || group_identifier == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        CorvaneOtManager::pushToken(corvane::CorvanePushToken(bytes, length), provider, group_identifier);
        return CORVANE_OK;
    });
}

corvane_status corvane_push_token_text(const char* token, uint64_t provider, const char* group_identifier) {
    return guarded([&] {
        if (token == nullptr || group_identifier == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        CorvaneOtManager::pushToken(corvane::CorvanePushToken(std::string(token)), provider, group_identifier);
        return CORVANE_OK;
    });
}

void corvane_set_page_tag_state(int on) {
    (void)guarded([&] {
        CorvaneOtManager::setPageTagState(on != 0);
        return CORVANE_OK;
    });
}

corvane_status corvane_banner_size(const char* location_id, double* width, double* height) {
    return guarded([&] {
        if (location_id == nullptr || width == nullptr || height == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        auto config = std::make_shared<corvane::CorvaneBannerConfig>();
        config->setLocationId(std::string(location_id));
        const auto size = CorvaneOtManager::loadBanner(config);
        *width = size.width;
        *height = size.height;
        return CORVANE_OK;
    });
}

corvane_status corvane_get_banner(const char* location_id, corvane_banner_callback callback, void* user) {
    return guarded([&] {
        if (location_id == nullptr || callback == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        CorvaneOtManager::getBanner(location_id, [callback, user](const std::optional<std::string>& banners) {
            callback(user, banners ? banners->c_str() : nullptr);
        });
        return CORVANE_OK;
    });
}

corvane_status corvane_picture(const char* url, corvane_picture_callback callback, void* user) {
    return guarded([&] {
        if (url == nullptr || callback == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        CorvaneOtManager::picture(url, [callback, user](const std::optional<std::string>& bytes) {
            if (bytes) {
                callback(user, reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size());
            } else {
                callback(user, nullptr, 0);
            }
        });
        return CORVANE_OK;
    });
}

size_t corvane_run_main_queue(void) { return CorvaneOtManager::runMainQueue(); }

void corvane_adopt_main_thread(void) {
    (void)guarded([] {
        corvane::OTEnvironment::current()->scheduler().adoptMainThread();
        return CORVANE_OK;
    });
}

void corvane_set_main_queue_waker(corvane_waker_callback callback, void* user) {
    (void)guarded([&] {
        std::function<void()> waker;
        if (callback != nullptr) waker = [callback, user] { callback(user); };
        CorvaneOtManager::setMainQueueWaker(waker);
        return CORVANE_OK;
    });
}

void corvane_set_http_transport(corvane_http_send_callback send, void* user) {
    (void)guarded([&] {
        auto environment = corvane::OTEnvironment::current();
        if (send == nullptr) {
            environment->setHostHTTP(nullptr);
            return CORVANE_OK;
        }
        auto transport = hostHTTP();
        transport->setSender([send, user](std::uint64_t id, const corvane::OTHTTPTransport::Request& request) {
            sendToHost(send, user, id, request);
        });
        environment->setHostHTTP(transport);
        return CORVANE_OK;
    });
}

corvane_status corvane_http_answer(uint64_t request, int64_t status, const uint8_t* body, size_t length) {
    return guarded([&] {
        if (body == nullptr && length > 0) return CORVANE_ERROR_NULL_ARGUMENT;
        if (status < 100 || status > 599) return CORVANE_ERROR_INVALID_ARGUMENT;
        const bool waited =
            hostHTTP()->answer(request, static_cast<long>(status), reinterpret_cast<const char*>(body), length);
        return waited ? CORVANE_OK : CORVANE_ERROR_NOT_FOUND;
    });
}

corvane_status corvane_http_fail(uint64_t request, int64_t code, const char* description) {
    return guarded([&] {
        const bool waited =
            hostHTTP()->fail(request, static_cast<long>(code), description == nullptr ? "" : description);
        return waited ? CORVANE_OK : CORVANE_ERROR_NOT_FOUND;
    });
}

corvane_status corvane_set_presenter(const corvane_presenter* presenter) {
    return onMainThread([&] {
        if (presenter == nullptr) {
            corvane::OTScenePublisher::shared()->setPresenter(std::nullopt);
            CorvaneOtManager::setNavigationListener(nullptr);
            return CORVANE_OK;
        }
        if (presenter->show == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        std::function<void(const json&)> navigate;
        if (presenter->navigate != nullptr) {
            navigate = [call = presenter->navigate, user = presenter->user](const json& navigation) {
                call(user, callbackText(navigation).c_str());
            };
        }
        CorvaneOtManager::setNavigationListener(std::move(navigate));
        corvane::OTScenePublisher::Presenter bridge;
        bridge.show = [show = presenter->show, user = presenter->user](std::uint64_t surface, const std::string& text) {
            show(user, surface, text.c_str());
        };
        if (presenter->dismiss != nullptr) {
            bridge.dismiss = [dismiss = presenter->dismiss, user = presenter->user](std::uint64_t surface) {
                dismiss(user, surface);
            };
        }
        corvane::OTScenePublisher::shared()->setPresenter(std::move(bridge));
        return CORVANE_OK;
    });
}

corvane_status corvane_register_page(const char* class_name, const char* properties_json) {
    return guarded([&] {
        if (class_name == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        if (*class_name == '\0') return CORVANE_ERROR_INVALID_ARGUMENT;
        std::vector<std::string> properties;
        if (properties_json != nullptr) {
            corvane_status status = CORVANE_OK;
            const auto list = parsed(properties_json, status);
            if (status != CORVANE_OK) return status;
            if (!list.is_array()) return CORVANE_ERROR_INVALID_ARGUMENT;
            for (const auto& name : list) {
                if (!name.is_string()) return CORVANE_ERROR_INVALID_ARGUMENT;
                properties.push_back(name.get<std::string>());
            }
        }
        CorvaneOtManager::registerPage(class_name, properties);
        return CORVANE_OK;
    });
}

corvane_status corvane_page_shown(const char* class_name) {
    return onMainThread([&] {
        if (class_name == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        if (*class_name == '\0') return CORVANE_ERROR_INVALID_ARGUMENT;
        CorvaneOtManager::pageShown(class_name);
        return CORVANE_OK;
    });
}

corvane_status corvane_tap(uint64_t node) {
    return onMainThread(
        [&] { return corvane::OTScenePublisher::shared()->tap(node) ? CORVANE_OK : CORVANE_ERROR_NOT_FOUND; });
}

corvane_status corvane_scroll(uint64_t node, double x, double y) {
    return onMainThread([&] {
        return corvane::OTScenePublisher::shared()->scroll(node, {x, y}) ? CORVANE_OK : CORVANE_ERROR_NOT_FOUND;
    });
}

corvane_status corvane_load_banner(const char* location_id, double width, double height, int hides_when_not_available,
                                   uint64_t* surface, double* banner_width, double* banner_height) {
    return onMainThread([&] {
        if (location_id == nullptr || surface == nullptr) return CORVANE_ERROR_NULL_ARGUMENT;
        if (!std::isfinite(width) || !std::isfinite(height) || width < 0 || height < 0) {
            return CORVANE_ERROR_INVALID_ARGUMENT;
        }
        const auto banner = corvane::OTScenePublisher::shared()->loadBanner(location_id, {width, height},
                                                                            hides_when_not_available != 0);
        *surface = banner.surface;
        if (banner_width != nullptr) *banner_width = banner.size.width;
        if (banner_height != nullptr) *banner_height = banner.size.height;
        return CORVANE_OK;
    });
}

corvane_status corvane_release_banner(uint64_t surface) {
    return onMainThread([&] {
        return corvane::OTScenePublisher::shared()->releaseBanner(surface) ? CORVANE_OK : CORVANE_ERROR_NOT_FOUND;
    });
}

}  // extern "C"
