#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "quorel/foundation/device_util.h"
#include "quorel/presentation/loading_view.h"
#include "quorel/presentation/quorel_image_view.h"

namespace quorel {
namespace {

using std::chrono::milliseconds;

TEST(LoadingView, TurnsASixteenthOfACircleEveryTenthOfASecond) {
    const auto loop = std::make_shared<ManualRunLoop>();
    auto spinner = LoadingView::make(loop);
    EXPECT_TRUE(spinner->image()->data->starts_with("\x89PNG"));
    const auto screen = ui::View::make();
    spinner->attach(screen);
    screen->setFrame({0, 0, 640, 360});
    EXPECT_EQ(spinner->frame(), (ui::Rect{290, 150, 60, 60}));
    EXPECT_EQ(spinner->shadow(), (ui::Shadow{ui::Color::black(), 0.8, {0, 2}, 4}));
    EXPECT_FALSE(spinner->clipsToBounds());

    // Starts without a stop between them add up, and a stop ends the last one only.
    const struct {
        int starts;
        int stops;
        double steps;  // in the 0.5 s after that
        bool hidden;
    } rows[] = {{0, 1, 0, true},  {1, 0, 5, false},  {0, 2, 0, true},
                {1, 0, 5, false}, {1, 0, 10, false}, {0, 1, 5, true}};
    double steps = 0;
    for (const auto& row : rows) {
        for (int i = 0; i < row.starts; ++i) spinner->startAnimating();
        for (int i = 0; i < row.stops; ++i) spinner->stopAnimating();
        loop->advance(milliseconds(500));
        steps += row.steps;
        const double circles = steps / 16;
        EXPECT_NEAR(spinner->rotation(), (circles - std::floor(circles)) * 2 * std::numbers::pi, 1e-9);
        EXPECT_EQ(spinner->isHidden(), row.hidden);
    }
    EXPECT_EQ(loop->pendingTimers(), 1u) << "out of reach, for as long as the view lives";
    spinner->removeFromSuperview();
    spinner = nullptr;
    loop->advance(milliseconds(100));
    EXPECT_EQ(loop->pendingTimers(), 0u);
}

TEST(QuorelImageView, AsksForNothingAndStaysAsItWas) {
    struct Never final : UrlProtocol {
        bool canInit(const URLRequest&) const override {
            ADD_FAILURE() << "a request left";
            return false;
        }
        void startLoading(const URLRequest&, std::shared_ptr<UrlProtocolClient>) override {}
    };
    const auto view = QuorelImageView::make();
    {
        UrlSession session;
        session.registerProtocol(std::make_shared<Never>());
        view->load(session, *URL::parse("https://img.test/soon.png"));
    }
    EXPECT_FALSE(view->image());
    EXPECT_EQ(view.use_count(), 1);
}

TEST(Image, IsAFileOfAKnownKind) {
    using namespace std::string_literals;
    for (const std::string& data :
         {"\x89PNG\r\n\x1a\n..."s, "\xff\xd8\xff\xe0"s, "GIF89a"s, "RIFF\x01\0\0\0WEBPVP8 "s}) {
        const auto image = ui::Image::fromData(data);
        ASSERT_TRUE(image && image->data);
        EXPECT_EQ(*image->data, data);
    }
    for (const std::string& data : {""s, "<svg/>"s, "\x89PNG"s, "RIFF\x01\0\0\0WAVE"s})
        EXPECT_FALSE(ui::Image::fromData(data));
}

TEST(DeviceUtil, KnowsTheAddressOfAnInterface) {
    EXPECT_EQ(DeviceUtil::ipv4Address("lo"), "127.0.0.1");
    EXPECT_EQ(DeviceUtil::ipv4Address("no such interface"), std::nullopt);
}

}  // namespace
}  // namespace quorel
