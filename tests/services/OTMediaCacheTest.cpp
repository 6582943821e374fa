#include <gtest/gtest.h>

#include "OTDevServer.h"
#include "foundation/OTFiles.h"
#include "foundation/OTImage.h"
#include "services/OTDownloadManager.h"
#include "services/OTImageDiskCache.h"
#include "services/OTLogger.h"
#include "services/OTUserDefaults.h"
#include "services/OTUtils.h"
#include "services/OTVideoDiskCache.h"
#include "support/OTHeldTransport.h"
#include "support/OTTestEnvironment.h"
#include "view/OTSceneNode.h"

namespace corvane {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

std::string mediaFile(const std::string& name) {
    return OTFiles::readFile(fs::path(OT_SAMPLE_CAMPAIGNS) / "media" / name).value_or("");
}
}  // namespace

TEST(OTImage, SizesFromEveryKnownHeaderAndNothingFromTheRest) {
    EXPECT_EQ(OTImage::sizeOfImageData(mediaFile("coupon.png")), (OTSize{600, 300}));
    EXPECT_EQ(OTImage::sizeOfImageData(std::string("GIF89a\x20\x03\x58\x02", 10)), (OTSize{800, 600}));
    // A JPEG with an APP0 segment before its frame header.
    const std::string jpeg = std::string("\xFF\xD8\xFF\xE0\x00\x04\x00\x00\xFF\xC0\x00\x11\x08\x01\x2C\x02\x58", 17);
    EXPECT_EQ(OTImage::sizeOfImageData(jpeg), (OTSize{600, 300}));
    const std::string lossy = std::string("RIFF\0\0\0\0WEBPVP8 \0\0\0\0\0\0\0\x9D\x01\x2A\x80\x02\xE0\x01", 30);
    EXPECT_EQ(OTImage::sizeOfImageData(lossy), (OTSize{640, 480}));
    const std::string extended = std::string("RIFF\0\0\0\0WEBPVP8X\0\0\0\0\0\0\0\0\x7F\x02\0\xDF\x01\0", 30);
    EXPECT_EQ(OTImage::sizeOfImageData(extended), (OTSize{640, 480}));
    for (const std::string& bad : {std::string(), std::string("\x89PNG"), std::string("<html>not a picture</html>"),
                                   std::string("\xFF\xD8\xFF\xC0\x00\x01", 6), std::string("\xFF\xD8\x00\x00\x00", 5),
                                   std::string("GIF89a\0\0\0\0", 10), std::string(1 << 16, '\xFF')}) {
        EXPECT_EQ(OTImage::sizeOfImageData(bad), std::nullopt);
        EXPECT_EQ(OTImage::imageWithData(bad), nullptr);
    }
}

TEST(OTImageDiskCache, KeepsBytesThreeDaysAndTrimsOneEntryAtATimeAfterARemoval) {
    OTTestEnvironment test;
    auto cache = OTImageDiskCache::cache();
    cache->setImageData("bytes-a", std::string("https://cdn.test/a.png"));
    ASSERT_EQ(cache->storedKeys().size(), 1u);
    EXPECT_EQ(OTDiskCache::splitStoredKey(cache->storedKeys()[0]),
              (std::vector<std::string>{"https://cdn.test/a.png", "1714521600"}));
    EXPECT_EQ(OTUtils::base64Decode(cache->storedKeys()[0]), "https://cdn.test/a.png__#OT#__1714521600");
    EXPECT_EQ(OTUserDefaults::standardUserDefaults().objectForKey("OTImageDiskCacheKeys"),
              nlohmann::json(cache->storedKeys()));

    std::vector<std::string> answers;
    cache->containsImageDataForKey(std::string("https://cdn.test/a.png"),
                                   [&](bool found, const std::string& key, const std::optional<std::string>& data) {
                                       answers.push_back(std::to_string(found) + key + data.value_or("-"));
                                   });
    cache->containsImageDataForKey(std::string("https://cdn.test/none.png"),
                                   [&](bool found, const std::string& key, const std::optional<std::string>& data) {
                                       answers.push_back(std::to_string(found) + key + data.value_or("-"));
                                   });
    cache->containsImageDataForKey(std::string(),
                                   [&](bool, const std::string&, const auto&) { answers.push_back("empty"); });
    cache->containsImageDataForKey(std::nullopt,
                                   [&](bool, const std::string&, const auto&) { answers.push_back("none"); });
    EXPECT_EQ(answers, (std::vector<std::string>{"1https://cdn.test/a.pngbytes-a", "0https://cdn.test/none.png-"}));

    // Three entries a second apart; the same address later is a second entry.
    test.clock().advance(1s);
    cache->setImageData("bytes-b", std::string("https://cdn.test/b.png"));
    test.clock().advance(1s);
    cache->setImageData("bytes-a2", std::string("https://cdn.test/a.png"));
    EXPECT_EQ(cache->storedKeys().size(), 3u);
    EXPECT_EQ(cache->imageDataForKey(std::string("https://cdn.test/a.png")), "bytes-a");  // the first entry wins

    // 259201 s after the first two: a pass removes the first, skips the one sliding into its place.
    test.clock().advance(std::chrono::seconds(259200 - 1));
    cache->trimToAge(cache->ageLimit());
    EXPECT_EQ(cache->storedKeys().size(), 2u);
    EXPECT_EQ(cache->imageDataForKey(std::string("https://cdn.test/a.png")), "bytes-a2");
    EXPECT_EQ(cache->imageDataForKey(std::string("https://cdn.test/b.png")), "bytes-b");
    // The automatic pass every 60 s on the background queue catches it.
    test.scheduler().advance(60s);
    EXPECT_EQ(cache->storedKeys().size(), 1u);
    EXPECT_FALSE(cache->containsImageDataForKey(std::string("https://cdn.test/b.png")));
    EXPECT_FALSE(OTUserDefaults::standardUserDefaults().valueForKey(
        OTDiskCache::storedKeyFor("https://cdn.test/b.png", 1714521601)));
    test.scheduler().advance(60s);
    EXPECT_EQ(cache->storedKeys().size(), 0u);

    // A restart reads the index back; an age of zero empties everything.
    cache->setImageData("bytes-c", std::string("https://cdn.test/c.png"));
    test.restart();
    auto reloaded = OTImageDiskCache::cache();
    EXPECT_EQ(reloaded->imageDataForKey(std::string("https://cdn.test/c.png")), "bytes-c");
    reloaded->trimToAge(0);
    EXPECT_TRUE(reloaded->storedKeys().empty());
    EXPECT_FALSE(reloaded->containsImageDataForKey(std::string("https://cdn.test/c.png")));
}

TEST(OTDownloadManager, DownloadsOnceFromTheServerAndReportsFailuresTheirWay) {
    OTTestEnvironment test;
    OTDevServer server({OT_SAMPLE_CAMPAIGNS});
    ASSERT_TRUE(server.start());
    auto manager = OTDownloadManager::sharedManager();
    const std::string url = server.baseURL() + "/media/coupon.png";

    struct Answer {
        std::shared_ptr<OTImage> image;
        std::optional<std::string> data;
        std::optional<OTDownloadManager::Error> error;
        bool finished = false;
        bool called = false;
    };
    const auto download = [&](const std::optional<std::string>& address) {
        auto answer = std::make_shared<Answer>();
        // Completions come on the download's thread; the answer is read on the main queue.
        manager->downloadImageWithURL(
            address, [answer](const auto& image, const auto& data, const auto& error, bool finished) {
                OTEnvironment::current()->mainQueue()->async([answer, image, data, error, finished] {
                    *answer = {image, data, error, finished, true};
                });
            });
        EXPECT_TRUE(test.scheduler().runUntil([&] { return answer->called; }, 10s));
        return *answer;
    };
    const auto first = download(url);
    ASSERT_NE(first.image, nullptr);
    EXPECT_EQ(first.image->size(), (OTSize{600, 300}));
    EXPECT_EQ(first.data, mediaFile("coupon.png"));  // as downloaded: no codec re-encodes it here
    EXPECT_TRUE(first.finished);
    // Stored before the first caller is answered.
    EXPECT_TRUE(OTImageDiskCache::cache()->containsImageDataForKey(url));
    const auto second = download(url);
    EXPECT_EQ(second.data, first.data);
    EXPECT_EQ(server.requestsTo("/media/coupon.png").size(), 1u);

    const auto none = download(std::nullopt);
    ASSERT_TRUE(none.error);
    EXPECT_EQ(none.error->domain, "OTErrorDomain");
    EXPECT_EQ(none.error->code, 1000);
    EXPECT_EQ(none.error->localizedDescription, "Image url is nil");
    EXPECT_TRUE(none.finished);
    const auto missing = download(server.baseURL() + "/media/nothing.png");
    ASSERT_TRUE(test.scheduler().runUntil([&] { return test.log().find("图片下载失败") != std::string::npos; }, 10s));
    ASSERT_TRUE(missing.error);
    EXPECT_EQ(missing.error->code, 404);
    EXPECT_TRUE(missing.finished);
    EXPECT_FALSE(OTImageDiskCache::cache()->containsImageDataForKey(server.baseURL() + "/media/nothing.png"));
    const auto text = test.log();
    EXPECT_NE(text.find("code:1000\ndescripton:Image url is nil\n"), std::string::npos);
    EXPECT_NE(text.find("code：404 图片下载失败：HTTP status 404 url：" + server.baseURL() + "/media/nothing.png"),
              std::string::npos);

    // Videos: a failure is reported unfinished; a download lands in the cache under its stored key.
    bool called = false;
    manager->downloadVideoWithURL(std::string(OTTestEnvironment::kClosedServerURL) + "/clip.mp4",
                                  [&](const auto& file, const auto& error, bool finished) {
                                      EXPECT_FALSE(file);
                                      EXPECT_TRUE(error);
                                      EXPECT_FALSE(finished);
                                      OTEnvironment::current()->mainQueue()->async([&] { called = true; });
                                  });
    ASSERT_TRUE(test.scheduler().runUntil([&] { return called; }, 10s));
    // Logged right after the caller is answered.
    EXPECT_TRUE(test.scheduler().runUntil([&] { return test.log().find("视频下载失败：") != std::string::npos; }, 10s));

    std::optional<std::string> fileURL;
    const std::string video = server.baseURL() + "/media/survey.html";
    manager->downloadVideoWithURL(video, [&](const auto& file, const auto& error, bool finished) {
        EXPECT_FALSE(error);
        EXPECT_TRUE(finished);
        OTEnvironment::current()->mainQueue()->async([&, path = file.value_or("")] { fileURL = path; });
    });
    ASSERT_TRUE(test.scheduler().runUntil([&] { return fileURL.has_value(); }, 10s));
    auto videos = OTVideoDiskCache::cache();
    ASSERT_EQ(videos->storedKeys().size(), 1u);
    const auto stored = videos->storedKeys()[0];
    EXPECT_EQ(*fileURL, "file://" + videos->videoFolderPath() + "/" + stored + ".mp4");
    EXPECT_EQ(videos->videoFolderPath(), (test.documents() / "OT_Video").string());
    // The file goes next to the folder, its name glued to the folder's; a key holding "/" names a
    // folder that does not exist, and the move is given up.
    const bool moved = fs::exists(videos->videoFolderPath() + stored + ".mp4");
    EXPECT_EQ(moved, stored.find('/') == std::string::npos);
    EXPECT_TRUE(fs::is_empty(test.root() / "tmp"));
    bool found = false;
    videos->containsVideoPathForKey(video, [&](bool hit, const std::string&, const auto&) { found = hit; });
    EXPECT_TRUE(found);
    videos->removeAllCaches();
    EXPECT_TRUE(videos->storedKeys().empty());
}

// Wants of an address while its download is under way wait for that one: one request, one stored
// copy, every wanter answered; a failure reaches them all and the next want asks again.
TEST(OTDownloadManager, WantsOfOneAddressAtOnceShareOneRequest) {
    OTTestEnvironment test;
    auto held = std::make_shared<OTHeldTransport>();
    test.setHTTPTransport(held);
    auto manager = OTDownloadManager::sharedManager();
    const auto requestsFor = [&](const std::string& path) {
        const auto sent = held->sent();
        return std::count_if(sent.begin(), sent.end(), [&](const auto& h) { return h.isFor(path); });
    };
    const std::string picture = "https://cdn.test/media/b1.png";
    std::vector<std::optional<std::string>> pictures;
    for (int i = 0; i < 3; ++i) {
        manager->downloadImageWithURL(
            picture, [&](const auto&, const auto& data, const auto&, bool) { pictures.push_back(data); });
    }
    const std::string video = "https://cdn.test/media/intro.mp4";
    std::vector<std::optional<std::string>> videos;
    for (int i = 0; i < 2; ++i) {
        manager->downloadVideoWithURL(video, [&](const auto& file, const auto&, bool) { videos.push_back(file); });
    }
    EXPECT_EQ(requestsFor("/media/b1.png"), 1);
    EXPECT_EQ(requestsFor("/media/intro.mp4"), 1);
    EXPECT_TRUE(pictures.empty());

    ASSERT_TRUE(held->complete("/media/b1.png", 200, mediaFile("b1.png")));
    ASSERT_TRUE(held->complete("/media/intro.mp4", 200, "video bytes"));
    // Compared, not printed: the bytes are a picture.
    EXPECT_TRUE(pictures == std::vector<std::optional<std::string>>(3, mediaFile("b1.png")));
    ASSERT_EQ(videos.size(), 2u);
    EXPECT_TRUE(videos[0] && videos[0] == videos[1]);
    EXPECT_EQ(OTVideoDiskCache::cache()->storedKeys().size(), 1u);
    manager->downloadImageWithURL(picture,
                                  [&](const auto&, const auto& data, const auto&, bool) { pictures.push_back(data); });
    EXPECT_EQ(pictures.size(), 4u);  // from the cache, at once
    EXPECT_EQ(requestsFor("/media/b1.png"), 1);

    const std::string missing = "https://cdn.test/media/gone.png";
    std::vector<long> codes;
    for (int i = 0; i < 2; ++i) {
        manager->downloadImageWithURL(missing, [&](const auto&, const auto&, const auto& error, bool) {
            codes.push_back(error ? error->code : 0);
        });
    }
    ASSERT_TRUE(held->complete("/media/gone.png", 404, ""));
    EXPECT_EQ(codes, (std::vector<long>{404, 404}));
    manager->downloadImageWithURL(missing, nullptr);
    EXPECT_EQ(requestsFor("/media/gone.png"), 2);
}

TEST(OTSceneNode, RemotePicturesAreAppliedOnTheMainQueue) {
    OTTestEnvironment test;
    OTImageDiskCache::cache()->setImageData(mediaFile("coupon.png"), std::string("https://cdn.test/c.png"));
    auto node = std::make_shared<OTSceneNode>(OTSceneNode::Role::Image, "picture");
    int completions = 0;
    node->ot_setImageWithURL(std::string("https://cdn.test/c.png"), [&] { ++completions; });
    // Cached and on the main queue already: applied at once.
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(node->imageURL(), "https://cdn.test/c.png");
    EXPECT_EQ(node->imageSize(), (OTSize{600, 300}));
    node->ot_setImageWithURL(std::nullopt, [&] { ++completions; });
    EXPECT_EQ(node->ot_imageURL(), std::nullopt);
    EXPECT_EQ(completions, 1);

    // From another thread the picture hops to the main queue.
    std::thread([&] {
        node->ot_setImageWithURL(std::string("https://cdn.test/c.png"), [&] { ++completions; });
    }).join();
    EXPECT_EQ(completions, 1);
    test.scheduler().runUntilIdle();
    EXPECT_EQ(completions, 2);
}

}  // namespace corvane
