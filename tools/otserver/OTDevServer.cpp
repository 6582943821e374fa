#include "OTDevServer.h"

#include <httplib.h>

#include <algorithm>
#include <fstream>
#include <utility>

namespace corvane {

namespace fs = std::filesystem;

namespace {
std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const char* contentTypeFor(const fs::path& path) {
    const auto extension = path.extension().string();
    if (extension == ".png") return "image/png";
    if (extension == ".jpg" || extension == ".jpeg") return "image/jpeg";
    if (extension == ".gif") return "image/gif";
    if (extension == ".webp") return "image/webp";
    if (extension == ".mp4") return "video/mp4";
    if (extension == ".html") return "text/html; charset=utf-8";
    return "application/octet-stream";
}
}  // namespace

nlohmann::json OTDevServer::readCampaignFile(const fs::path& path) const {
    std::string text = readFile(path);
    const std::string marker = kServerMarker;
    const std::string base = baseURL();
    for (auto at = text.find(marker); at != std::string::npos; at = text.find(marker, at + base.size())) {
        text.replace(at, marker.size(), base);
    }
    return nlohmann::json::parse(text, nullptr, false);
}

OTDevServer::OTDevServer(Options options)
    : options_(std::move(options)), server_(std::make_unique<httplib::Server>()) {}

OTDevServer::~OTDevServer() { stop(); }

const std::vector<std::string>& OTDevServer::endpoints() {
    static const std::vector<std::string> kEndpoints = {
        "/push/sdk/login",           "/push/sdk/in_app",    "/push/sdk/event/subscribe", "/push/sdk/event/trigger",
        "/push/sdk/in_app/callback", "/push/sdk/token",     "/push/sdk/alias",           "/push/wechat/user/profile",
        "/push/sdk/pageview/upload", "/push/sdk/defBanner", "/push/sdk/banner"};
    return kEndpoints;
}

std::string OTDevServer::baseURL() const { return "http://" + options_.host + ":" + std::to_string(port_); }

std::vector<fs::path> OTDevServer::campaignFiles(const fs::path& campaigns, const std::string& list) {
    std::vector<fs::path> files;
    std::error_code ec;
    for (fs::directory_iterator it(campaigns / list, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->path().extension() == ".json") files.push_back(it->path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

nlohmann::json OTDevServer::dataFor(const std::string& folder) const {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& file : campaignFiles(options_.campaigns, folder)) {
        auto object = readCampaignFile(file);
        if (!object.is_discarded()) list.push_back(std::move(object));
    }
    std::lock_guard lock(mutex_);
    if (const auto added = addedData_.find(folder); added != addedData_.end()) {
        for (const auto& element : added->second) list.push_back(element);
    }
    return list;
}

void OTDevServer::addData(const std::string& folder, nlohmann::json elements) {
    if (!elements.is_array()) return;
    std::lock_guard lock(mutex_);
    auto& list = addedData_[folder];
    if (!list.is_array()) list = nlohmann::json::array();
    for (auto& element : elements) list.push_back(std::move(element));
}

std::optional<OTDevServer::Fault> OTDevServer::takeFault(const std::string& path) {
    std::lock_guard lock(mutex_);
    const auto it = faults_.find(path);
    if (it == faults_.end()) return std::nullopt;
    Fault fault = it->second;
    if (--it->second.count <= 0) faults_.erase(it);
    return fault;
}

nlohmann::json OTDevServer::answer(const std::string& path, const nlohmann::json& body) {
    if (path == "/push/sdk/login") {
        std::string token;
        {
            std::lock_guard lock(mutex_);
            token = "token-" + std::to_string(nextToken_++);
            validTokens_.insert(token);
        }
        nlohmann::json rule = nlohmann::json::object();
        std::error_code ec;
        if (fs::exists(options_.campaigns / "rule.json", ec)) {
            auto read = readCampaignFile(options_.campaigns / "rule.json");
            if (read.is_object()) rule = std::move(read);
        }
        return {{"code", 0}, {"message", "success"}, {"token", token}, {"rule", rule}};
    }
    const auto token = body.is_object() ? body.value("token", std::string()) : std::string();
    {
        std::lock_guard lock(mutex_);
        if (!validTokens_.count(token)) return {{"code", kInvalidTokenCode}, {"message", "token invalid"}};
    }
    if (path == "/push/sdk/in_app") return {{"code", 0}, {"message", "success"}, {"data", dataFor("in_app")}};
    if (path == "/push/sdk/event/subscribe")
        return {{"code", 0}, {"message", "success"}, {"data", dataFor("subscribe")}};
    if (path == "/push/sdk/banner") return {{"code", 0}, {"message", "success"}, {"data", dataFor("banners")}};
    if (path == "/push/sdk/defBanner")
        return {{"code", 0}, {"message", "success"}, {"data", dataFor("default_banners")}};
    return {{"code", 0}, {"message", "success"}};
}

void OTDevServer::record(RecordedRequest request) {
    std::lock_guard lock(mutex_);
    request.time = std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
    requests_.push_back(std::move(request));
}

OTDevServer::Reply OTDevServer::endpointReply(const std::string& endpoint, const std::string& rawBody) {
    auto body = nlohmann::json::parse(rawBody, nullptr, false);
    if (body.is_discarded()) body = nullptr;
    const auto fault = takeFault(endpoint);
    const bool answers = !fault || (!fault->dropConnection && !fault->malformedBody && !fault->nonObjectBody);
    auto reply = answers ? answer(endpoint, body) : nlohmann::json();
    if (fault && fault->code) {
        reply["code"] = *fault->code;
        reply["message"] = "injected fault";
    }
    const bool refused =
        !answers || (fault && (fault->httpStatus || fault->truncatedBody)) || reply.value("code", std::int64_t{0}) != 0;
    record({endpoint, body, rawBody, 0, refused});
    Reply out;
    if (!fault) {
        out.body = reply.dump();
        return out;
    }
    out.delay = fault->delay;
    if (fault->dropConnection) {
        out.status = 444;
        out.dropped = true;
        return out;
    }
    out.status = fault->httpStatus.value_or(200);
    if (fault->malformedBody) {
        out.body = "{\"code\": 0, \"data\": [";
        return out;
    }
    if (fault->nonObjectBody) {
        out.body = "[0, \"success\"]";
        return out;
    }
    out.body = reply.dump();
    if (fault->paddedBodyBytes > 0) {
        // Spliced in as text: dumping a huge string would escape it byte by byte.
        out.body.pop_back();
        out.body += ",\"padding\":\"" + std::string(fault->paddedBodyBytes, 'x') + "\"}";
    }
    out.truncated = fault->truncatedBody;
    return out;
}

OTDevServer::Reply OTDevServer::mediaReply(const std::string& path, const std::string& name) {
    record({path, nullptr, {}, 0, false});
    const auto fault = takeFault(path);
    Reply out;
    if (fault) out.delay = fault->delay;
    const fs::path file = options_.campaigns / "media" / name;
    std::error_code ec;
    const bool named = !name.empty() && name.find_first_not_of(
                                            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                            "0123456789._-") == std::string::npos;
    if ((fault && fault->httpStatus) || !named || !fs::is_regular_file(file, ec)) {
        out.status = fault && fault->httpStatus ? *fault->httpStatus : 404;
        return out;
    }
    out.body = readFile(file);
    out.contentType = contentTypeFor(file);
    return out;
}

OTDevServer::Reply OTDevServer::handle(const std::string& method, const std::string& path, const std::string& body) {
    static const std::string kMedia = "/media/";
    if (method == "GET" && path.rfind(kMedia, 0) == 0) return mediaReply(path, path.substr(kMedia.size()));
    const auto& known = endpoints();
    if (method == "POST" && std::find(known.begin(), known.end(), path) != known.end()) {
        return endpointReply(path, body);
    }
    Reply missing;
    missing.status = 404;
    return missing;
}

bool OTDevServer::start() {
    started_ = std::chrono::steady_clock::now();
    server_->set_keep_alive_max_count(1);
    const auto send = [](const Reply& reply, httplib::Response& response) {
        if (reply.delay.count() > 0) std::this_thread::sleep_for(reply.delay);
        response.status = reply.status;
        if (reply.dropped) {
            response.set_header("Connection", "close");
            // Closing without an answer: the content provider gives up at once.
            response.set_content_provider(1, reply.contentType,
                                          [](size_t, size_t, httplib::DataSink&) { return false; });
            return;
        }
        if (reply.truncated) {
            auto text = std::make_shared<std::string>(reply.body);
            response.set_header("Connection", "close");
            response.set_content_provider(text->size(), reply.contentType,
                                          [text](size_t offset, size_t, httplib::DataSink& sink) {
                                              if (offset > 0) return false;
                                              sink.write(text->data(), text->size() / 2);
                                              return true;
                                          });
            return;
        }
        if (!reply.body.empty() || reply.status == 200) response.set_content(reply.body, reply.contentType);
    };
    for (const auto& endpoint : endpoints()) {
        server_->Post(endpoint, [this, endpoint, send](const httplib::Request& request, httplib::Response& response) {
            send(endpointReply(endpoint, request.body), response);
        });
    }
    // Campaign pictures, videos and pages: files of the campaign folder's "media".
    server_->Get(R"(/media/([A-Za-z0-9._-]+))",
                 [this, send](const httplib::Request& request, httplib::Response& response) {
                     send(mediaReply(request.path, request.matches[1].str()), response);
                 });
    installControl();
    port_ = options_.port == 0 ? server_->bind_to_any_port(options_.host)
                               : (server_->bind_to_port(options_.host, options_.port) ? options_.port : -1);
    if (port_ <= 0) return false;
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    while (!server_->is_running()) std::this_thread::yield();
    return true;
}

void OTDevServer::installControl() {
    const auto control = std::string(kControlPath);
    server_->Get(control + "requests", [this](const httplib::Request&, httplib::Response& response) {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& request : requests()) {
            list.push_back(
                {{"path", request.path}, {"body", request.body}, {"time", request.time}, {"refused", request.refused}});
        }
        response.set_content(list.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), "application/json");
    });
    server_->Post(control + "fault", [this](const httplib::Request& request, httplib::Response& response) {
        const auto body = nlohmann::json::parse(request.body, nullptr, false);
        const auto fault = faultFrom(body);
        if (!fault) {
            response.status = 400;
            return;
        }
        injectFault(body["path"].get<std::string>(), *fault);
        response.set_content("{}", "application/json");
    });
    server_->Post(control + "expire-tokens", [this](const httplib::Request&, httplib::Response& response) {
        expireTokens();
        response.set_content("{}", "application/json");
    });
}

std::optional<OTDevServer::Fault> OTDevServer::faultFrom(const nlohmann::json& body) {
    if (!body.is_object() || !body.contains("path") || !body["path"].is_string()) return std::nullopt;
    Fault fault;
    try {
        fault.count = body.value("count", 1);
        if (body.contains("httpStatus")) fault.httpStatus = body["httpStatus"].get<int>();
        if (body.contains("code")) fault.code = body["code"].get<std::int64_t>();
        fault.delay = std::chrono::milliseconds(body.value("delayMs", 0));
        fault.dropConnection = body.value("dropConnection", false);
        fault.malformedBody = body.value("malformedBody", false);
        fault.truncatedBody = body.value("truncatedBody", false);
        fault.paddedBodyBytes = body.value("paddedBodyBytes", std::size_t{0});
        fault.nonObjectBody = body.value("nonObjectBody", false);
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
    if (fault.count < 1 || fault.delay.count() < 0 || fault.delay > std::chrono::minutes(5) ||
        fault.paddedBodyBytes > (std::size_t{64} << 20)) {
        return std::nullopt;
    }
    return fault;
}

void OTDevServer::stop() {
    if (!thread_.joinable()) return;
    server_->stop();
    thread_.join();
}

std::vector<OTDevServer::RecordedRequest> OTDevServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

void OTDevServer::clearFaults() {
    std::lock_guard lock(mutex_);
    faults_.clear();
}

std::vector<OTDevServer::RecordedRequest> OTDevServer::takeRequests() {
    std::lock_guard lock(mutex_);
    return std::exchange(requests_, {});
}

std::vector<OTDevServer::RecordedRequest> OTDevServer::requestsTo(const std::string& path) const {
    std::vector<RecordedRequest> matching;
    for (auto& request : requests()) {
        if (request.path == path) matching.push_back(std::move(request));
    }
    return matching;
}

void OTDevServer::clearRequests() {
    std::lock_guard lock(mutex_);
    requests_.clear();
}

void OTDevServer::injectFault(const std::string& path, Fault fault) {
    std::lock_guard lock(mutex_);
    faults_[path] = fault;
}

void OTDevServer::expireTokens() {
    std::lock_guard lock(mutex_);
    validTokens_.clear();
}

}  // namespace corvane
