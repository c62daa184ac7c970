// The planner of panoramas.

#include "analytics/panoramic.h"

#include "script/daemon_test.h"

#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace {

constexpr int32_t untouched = -77;

class Panoramic : public DaemonTest {
  protected:
    Panoramic() {
        std::memcpy(configs_, panorama_configs, sizeof configs_);
        panoramic_interrupt();
    }
    ~Panoramic() override {
        std::memcpy(panorama_configs, configs_, sizeof configs_);
        panoramic_interrupt();
    }

    /* The step behind a reply, "null" for none. */
    std::string next(const char *reply, int32_t reverse = 0) {
        direction_ = degree_ = more_ = untouched;
        char *text = tavra_panoram_get_next_step(reverse, reply, &direction_, &degree_, &more_);
        std::string result = text == nullptr ? "null" : text;
        if (text != nullptr) {
            EXPECT_GE(malloc_usable_size(text), 64U);
            std::memset(text, 0, 64); // the address sanitizer would know
        }
        free(text);
        return result;
    }
    void expect_move(int32_t direction, int32_t degree, int32_t more) const {
        EXPECT_EQ(direction_, direction);
        EXPECT_EQ(degree_, degree);
        EXPECT_EQ(more_, more);
    }
    void expect_untouched() const { expect_move(untouched, untouched, untouched); }
    void confirm_up_to(int step) {
        next("motor_reset_OK");
        for (int i = 1; i <= step; ++i) {
            next(("step" + std::to_string(i) + "_OK").c_str());
        }
    }

    static Entries expects(int step) {
        return {script::format("info: [tavra_panoram_get_next_step] : step%d\n", step)};
    }

    int32_t direction_ = untouched;
    int32_t degree_ = untouched;
    int32_t more_ = untouched;

  private:
    PanoramaConfig configs_[panorama_type_count];
};

/* "type photos direction degree direction degree overlap" */
std::string described(const PanoramaConfig &config) {
    return script::format("%d %d %d %d %d %d %.2f", config.type, config.photo_num, config.start_direction,
                          config.start_degree, config.circle_direction, config.circle_degree,
                          static_cast<double>(config.overlap_ratio));
}

TEST(PanoramicAtItsStart, IsAtTheFirstStepOfTheFirstType) {
    EXPECT_EQ(panorama_plan.type, 0);
    EXPECT_EQ(panorama_plan.step, 1);
}

// ---- configurations ----

TEST_F(Panoramic, ThereAreThreeConfigurations) {
    ASSERT_EQ(std::size(panorama_configs), 3U);
    EXPECT_EQ(described(panorama_configs[0]), "0 5 8 145 7 75 0.33");
    EXPECT_EQ(described(panorama_configs[1]), "1 4 8 115 7 77 0.20");
    EXPECT_EQ(described(panorama_configs[2]), "2 3 8 55 7 55 0.50");
    EXPECT_EQ(panorama_configs[0].overlap_ratio, 0.33F);
    EXPECT_EQ(panorama_configs[1].overlap_ratio, 0.2F);
    EXPECT_EQ(panorama_configs[2].overlap_ratio, 0.5F);
}

TEST_F(Panoramic, InitLogsAndStoresAConfiguration) {
    panoramic_init(1, 6, 90, 7, 30, 8, 0.25F);
    EXPECT_EQ(script.journal,
              (Entries{"info: type=1, photo_num=6, start_degree=90, start_direction=7, circle_degree=30, "
                       "circle_direction=8, overlap_ratio=0.250000\n"}));
    EXPECT_EQ(described(panorama_configs[0]), "0 5 8 145 7 75 0.33");
    EXPECT_EQ(described(panorama_configs[1]), "1 6 7 90 8 30 0.25");
    EXPECT_EQ(described(panorama_configs[2]), "2 3 8 55 7 55 0.50");
}

TEST_F(Panoramic, InitDoesNotSelectItsType) {
    panoramic_init(2, 6, 90, 7, 30, 8, 0.25F);
    EXPECT_EQ(next("motor_reset_OK"), "step1");
    expect_move(8, 145, 0);
    EXPECT_EQ(panorama_plan.type, 0);
}

TEST_F(Panoramic, InitLeavesTheStepAsItIs) {
    confirm_up_to(2);
    panoramic_init(0, 6, 90, 7, 30, 8, 0.25F);
    EXPECT_EQ(next("motor_reset_OK"), "step3");
    expect_move(7, 90, 0);
    EXPECT_EQ(next("step3_OK"), "step4");
    expect_move(8, 30, 1);
}

TEST_F(Panoramic, InitOfATypeThatThereIsNotIsOnlyLogged) {
    for (const int32_t type : {-1, 3, 1000000}) {
        script.journal.clear();
        panoramic_init(type, 6, 90, 7, 30, 8, 0.25F);
        EXPECT_EQ(script.count(script::format("info: type=%d, ", type)), 1U);
    }
    EXPECT_EQ(described(panorama_configs[0]), "0 5 8 145 7 75 0.33");
    EXPECT_EQ(described(panorama_configs[2]), "2 3 8 55 7 55 0.50");
}

// ---- the way through ----

TEST_F(Panoramic, GoesThroughItsFivePhotosAndEnds) {
    EXPECT_EQ(next("motor_reset_OK"), "step1");
    expect_move(8, 145, 0);
    EXPECT_EQ(next("step1_OK"), "step2");
    expect_move(7, 75, 1);
    EXPECT_EQ(next("step2_OK"), "step3");
    expect_move(7, 75, 1);
    EXPECT_EQ(next("step3_OK"), "step4");
    expect_move(7, 75, 1);
    EXPECT_EQ(next("step4_OK"), "step5");
    expect_move(7, 75, 1);
    EXPECT_EQ(next("step5_OK"), "end");
    expect_move(untouched, untouched, 1);
    EXPECT_EQ(script.journal, joined({expects(1), expects(2), expects(3), expects(4), expects(5)}));
}

TEST_F(Panoramic, EndDoesNotBeginAnew) {
    confirm_up_to(5);
    EXPECT_EQ(next("step5_OK"), "end");
    EXPECT_EQ(next("step1_OK"), "null");
    EXPECT_EQ(next("motor_reset_OK"), "step5");
    expect_move(8, 145, 0);
}

TEST_F(Panoramic, DoneBeginsAnew) {
    confirm_up_to(5);
    EXPECT_EQ(next("panorama_done"), "intterupt_exit");
    expect_untouched();
    EXPECT_EQ(next("motor_reset_OK"), "step1");
}

TEST_F(Panoramic, DoneIsUnderstoodAtEveryStep) {
    confirm_up_to(2);
    script.journal.clear();
    EXPECT_EQ(next("done"), "intterupt_exit");
    EXPECT_EQ(script.journal, Entries{});
    EXPECT_EQ(panorama_plan.step, 1);
}

TEST_F(Panoramic, InterruptBeginsAnewWithTheFirstType) {
    confirm_up_to(3);
    panorama_plan.type = 2;
    panoramic_interrupt();
    EXPECT_EQ(panorama_plan.type, 0);
    EXPECT_EQ(panorama_plan.step, 1);
    EXPECT_EQ(next("motor_reset_OK"), "step1");
    expect_move(8, 145, 0);
}

TEST_F(Panoramic, DoneReturnsToTheFirstType) {
    panorama_plan = {2, 3};
    EXPECT_EQ(next("done"), "intterupt_exit");
    EXPECT_EQ(panorama_plan.type, 0);
}

TEST_F(Panoramic, GoesByTheConfigurationOfTheCurrentType) {
    panorama_plan.type = 1;
    EXPECT_EQ(next("motor_reset_OK"), "step1");
    expect_move(8, 115, 0);
    EXPECT_EQ(next("step1_OK"), "step2");
    expect_move(7, 77, 1);
    EXPECT_EQ(next("step2_OK"), "step3");
    EXPECT_EQ(next("step3_OK"), "step4");
    EXPECT_EQ(next("step4_OK"), "end");
}

// ---- replies ----

TEST_F(Panoramic, WithoutAReplyThereIsNoStep) {
    EXPECT_EQ(next(nullptr), "null");
    expect_untouched();
    EXPECT_EQ(script.journal, Entries{});
    EXPECT_EQ(script.mallocs, 0U);
}

TEST_F(Panoramic, ARepliedTextThatMeansNothingGivesNone) {
    for (const char *reply : {"", "step1", "motor_reset", "ok", "Done", "O K"}) {
        EXPECT_EQ(next(reply), "null") << reply;
        expect_untouched();
    }
    EXPECT_EQ(script.journal, Entries{});
    EXPECT_EQ(panorama_plan.step, 1);
}

TEST_F(Panoramic, AConfirmationOfTheWrongStepDoesNotAdvance) {
    confirm_up_to(1);
    script.journal.clear();
    for (const char *reply : {"step1_OK", "step3_OK", "OK", "step_OK"}) {
        EXPECT_EQ(next(reply), "null") << reply;
        expect_untouched();
    }
    EXPECT_EQ(script.journal, joined({expects(2), expects(2), expects(2), expects(2)}));
    EXPECT_EQ(next("step2_OK"), "step3");
}

TEST_F(Panoramic, AConfirmationMayHaveTheStepAnywhere) {
    EXPECT_EQ(next("OK: motor is at step1 now"), "step2");
    EXPECT_EQ(next("step22OK"), "step3");
}

TEST_F(Panoramic, ResetIsKnownByItsWholeTextOnly) {
    for (const char *reply : {"motor_reset_OK\n", " motor_reset_OK", "motor_reset_OK!"}) {
        EXPECT_EQ(next(reply), "null") << reply;
    }
    EXPECT_EQ(next("motor_reset_OK step1"), "step2") << "a confirmation";
}

TEST_F(Panoramic, ResetGivesTheCurrentStepAndDoesNotBeginAnew) {
    confirm_up_to(2);
    EXPECT_EQ(next("motor_reset_OK"), "step3");
    expect_move(8, 145, 0);
    EXPECT_EQ(panorama_plan.step, 3);
}

TEST_F(Panoramic, OkComesBeforeDone) {
    EXPECT_EQ(next("step1_OK_done"), "step2");
    EXPECT_EQ(next("OK done"), "null");
    EXPECT_EQ(panorama_plan.step, 2);
}

// ---- the other way round ----

TEST_F(Panoramic, ReversedExchangesTheDirections) {
    EXPECT_EQ(next("motor_reset_OK", 1), "step1");
    expect_move(7, 145, 0);
    EXPECT_EQ(next("step1_OK", -5), "step2");
    expect_move(8, 75, 1);
    EXPECT_EQ(next("step2_OK", 0), "step3");
    expect_move(7, 75, 1);
}

TEST_F(Panoramic, ReversedAnyOtherDirectionIsNotWritten) {
    panoramic_init(0, 3, 10, 6, 20, 9, 0);
    EXPECT_EQ(next("motor_reset_OK", 1), "step1");
    expect_move(untouched, 10, 0);
    EXPECT_EQ(next("step1_OK", 1), "step2");
    expect_move(untouched, 20, 1);
    EXPECT_EQ(next("motor_reset_OK"), "step2");
    expect_move(6, 10, 0);
}

// ---- memory ----

TEST_F(Panoramic, WithoutMemoryNothingChanges) {
    for (const char *reply : {"motor_reset_OK", "step1_OK", "done"}) {
        script.malloc_fails = {script.mallocs + 1};
        EXPECT_EQ(next(reply), "null");
        expect_untouched();
    }
    EXPECT_EQ(panorama_plan.step, 1);
}

} // namespace
