#include "Services/UpdatePage.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tandrel {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Kind = UpdateState::Kind;
using Failure = UpdateFailure::Kind;

const UpdateContext context{"1.1", "2.36", "https://www.quorvane.example:8443/appcast.xml"};

AppcastItem newVersion() {
    AppcastItem item;
    item.version = "1.2";
    item.minimumSystemVersion = "2.41";
    item.releaseNotesLink = "https://www.quorvane.example/notes";
    item.notes = "Sounds better.";
    item.packageLength = 3'400'000;
    return item;
}

UpdatePage pageOf(Kind kind, std::uint64_t received = 0) {
    return updatePage({kind, newVersion(), received, {}}, context);
}

UpdatePage failurePage(Failure failure, bool hasItem, const std::string& detail = {}) {
    UpdateState state{Kind::failed, {}, 0, UpdateFailure{failure, detail}};
    if (hasItem) {
        state.item = newVersion();
    }
    return updatePage(state, context);
}

std::vector<std::string> buttons(const UpdatePage& page) {
    std::vector<std::string> texts;
    if (page.primary) {
        texts.push_back(page.primary->text);
    }
    for (const auto& button : page.others) {
        texts.push_back(button.text);
    }
    return texts;
}

TEST(UpdatePage, SaysThatThePackageManagerKeepsTheProgramCurrent) {
    const UpdatePage page = updatePage({Kind::packageManaged, {}, 0, {}}, context);
    EXPECT_EQ(page.headline, "Updates come with your system");
    EXPECT_EQ(page.detail,
              "Version 1.1 is installed. Your system's package manager keeps it current.");
    EXPECT_THAT(buttons(page), ElementsAre("OK"));
}

TEST(UpdatePage, OffersANewVersion) {
    const UpdatePage page = pageOf(Kind::available);
    EXPECT_EQ(page.headline, "Version 1.2 is available");
    EXPECT_EQ(page.detail, "Version 1.1 is installed. The download is 3.4 MB.");
    EXPECT_EQ(page.notes, "Sounds better.");
    EXPECT_EQ(page.releaseNotesLink, "https://www.quorvane.example/notes");
    EXPECT_THAT(buttons(page), ElementsAre("Install", "Later", "Skip this version"));
    EXPECT_EQ(page.primary->action, UpdateAction::install);
    EXPECT_EQ(page.others[0].action, UpdateAction::close);
    EXPECT_EQ(page.others[1].action, UpdateAction::skip);
    EXPECT_FALSE(page.isWarning);
}

TEST(UpdatePage, ShowsWhatIsUnderWay) {
    const UpdatePage checking = updatePage({Kind::checking, {}, 0, {}}, context);
    EXPECT_EQ(checking.headline, "Checking for updates…");
    EXPECT_TRUE(checking.isBusy);
    EXPECT_THAT(buttons(checking), ElementsAre("Cancel"));
    const UpdatePage downloading = pageOf(Kind::downloading, 850'000);
    EXPECT_EQ(downloading.headline, "Downloading version 1.2…");
    EXPECT_EQ(downloading.detail, "850.0 kB of 3.4 MB");
    EXPECT_EQ(downloading.progress, 0.25);
    EXPECT_FALSE(downloading.isBusy);
    EXPECT_THAT(buttons(downloading), ElementsAre("Cancel"));
    EXPECT_THAT(buttons(pageOf(Kind::verifying)), ElementsAre("Cancel"));
    EXPECT_THAT(buttons(pageOf(Kind::handingOver)), IsEmpty());
    EXPECT_TRUE(pageOf(Kind::handingOver).isBusy);
}

TEST(UpdatePage, SaysWhereThingsStand) {
    EXPECT_EQ(pageOf(Kind::upToDate).headline, "Quorvane Tandrel is up to date");
    EXPECT_THAT(pageOf(Kind::onlyOlder).detail, HasSubstr("a downgrade is refused"));
    EXPECT_THAT(pageOf(Kind::systemTooOld).headline, HasSubstr("1.2 needs a newer system"));
    EXPECT_THAT(pageOf(Kind::systemTooOld).detail, AllOf(HasSubstr("2.41"), HasSubstr("2.36")));
    EXPECT_THAT(pageOf(Kind::handedOver).detail, HasSubstr("quit and start Quorvane Tandrel"));
    for (const Kind kind :
         {Kind::upToDate, Kind::onlyOlder, Kind::systemTooOld, Kind::handedOver}) {
        EXPECT_THAT(buttons(pageOf(kind)), ElementsAre("OK"));
        EXPECT_FALSE(pageOf(kind).isWarning);
    }
}

TEST(UpdatePage, SaysPlainlyWhatWasRefused) {
    for (const Failure failure : {Failure::insecureAddress, Failure::notSigned,
                                  Failure::wronglySigned, Failure::unverifiable}) {
        const UpdatePage page = failurePage(failure, true);
        EXPECT_EQ(page.headline, "Version 1.2 is refused");
        EXPECT_TRUE(page.isWarning);
        EXPECT_THAT(buttons(page), ElementsAre("OK")) << "another attempt is no remedy";
    }
    EXPECT_THAT(failurePage(Failure::notSigned, true).detail, HasSubstr("not signed"));
    EXPECT_THAT(failurePage(Failure::wronglySigned, true).detail, HasSubstr("signature is wrong"));
}

TEST(UpdatePage, OffersAnotherAttemptWhereOneMayHelp) {
    const UpdatePage check = failurePage(Failure::unreachable, false, "It is down.");
    EXPECT_EQ(check.headline, "The check for updates failed");
    EXPECT_EQ(check.detail, "The update server cannot be reached. It is down.");
    EXPECT_THAT(buttons(check), ElementsAre("Try Again", "Close"));
    EXPECT_EQ(check.primary->action, UpdateAction::checkAgain);
    const UpdatePage download = failurePage(Failure::unreachable, true, "It is down.");
    EXPECT_EQ(download.headline, "Version 1.2 could not be installed");
    EXPECT_EQ(download.primary->action, UpdateAction::install);
    for (const Failure failure : {Failure::refusedByServer, Failure::wrongLength, Failure::diskFull,
                                  Failure::notStored, Failure::noInstaller}) {
        EXPECT_EQ(buttons(failurePage(failure, true)).front(), "Try Again");
    }
    EXPECT_THAT(buttons(failurePage(Failure::malformedFeed, false)), ElementsAre("OK"));
    EXPECT_THAT(failurePage(Failure::noInstaller, true, "/cache/p.deb").detail,
                HasSubstr("/cache/p.deb"));
}

TEST(UpdatePage, ExplainsEveryFailure) {
    std::vector<std::string> details;
    for (int kind = 0; kind <= static_cast<int>(Failure::noInstaller); ++kind) {
        const std::string detail = failurePage(static_cast<Failure>(kind), true).detail;
        EXPECT_THAT(detail, Not(IsEmpty()));
        EXPECT_THAT(details, Not(testing::Contains(detail)));
        details.push_back(detail);
    }
}

TEST(UpdatePage, AsksWhetherToCheckDaily) {
    const UpdatePage page = updateQuestion(context);
    EXPECT_EQ(page.headline, "Check for updates every day?");
    EXPECT_THAT(page.detail, HasSubstr("www.quorvane.example:8443 once a day"));
    EXPECT_THAT(buttons(page), ElementsAre("Check Every Day", "Don't Check"));
    EXPECT_EQ(page.primary->action, UpdateAction::agree);
    EXPECT_EQ(page.others[0].action, UpdateAction::decline);
}

TEST(UpdatePage, WritesSizesForPeople) {
    EXPECT_EQ(sizeText(0), "0 bytes");
    EXPECT_EQ(sizeText(999), "999 bytes");
    EXPECT_EQ(sizeText(1000), "1.0 kB");
    EXPECT_EQ(sizeText(1'940'000), "1.9 MB");
    EXPECT_EQ(sizeText(67'108'864), "67.1 MB");
}

} // namespace
} // namespace tandrel
