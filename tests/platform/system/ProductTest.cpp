#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/system/Files.h"
#include "platform/system/Paths.h"
#include "platform/system/Product.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

const std::string kIdentityFile = std::string{kPackageConfigDir} + "/udn";
constexpr const char* kRandomUuid = "uuid:[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}";

TEST(DMSGetProductUDN, IsMadeOnceForAnInstallation) {
    std::string first, second;
    {
        TempSysroot root;
        first = DMSGetProductUDN();
        EXPECT_THAT(first, testing::MatchesRegex(kRandomUuid));
        EXPECT_EQ(DMSGetProductUDN(), first);
        EXPECT_EQ(ReadWholeFile(root / kIdentityFile, 100), first + "\n");
    }
    TempSysroot other;
    second = DMSGetProductUDN();
    EXPECT_NE(first, second) << "two installations must not share an identity";
}

TEST(DMSGetProductUDN, KeptFileWinsAndABrokenOneIsReplaced) {
    {
        TempSysroot root;
        const std::string kept = "uuid:00112233-4455-6677-8899-AABBCCDDEEFF";
        root.Write(kIdentityFile, kept + "\r\n");
        EXPECT_EQ(DMSGetProductUDN(), kept);
        EXPECT_EQ(DMSGetProductSerial(), "AABBCCDDEEFF");
    }
    for (const char* broken : {"", "uuid:", "uuid:00112233-4455-6677-8899-AABBCCDDEEF<", "00112233-4455-6677-8899"}) {
        TempSysroot root;
        root.Write(kIdentityFile, broken);
        const std::string udn = DMSGetProductUDN();
        EXPECT_THAT(udn, testing::MatchesRegex(kRandomUuid)) << broken;
        EXPECT_EQ(ReadWholeFile(root / kIdentityFile, 100), udn + "\n");
    }
}

TEST(DMSGetProductUDN, LastsForTheProcessWhereNothingCanBeWritten) {
    setenv("DMS_SYSROOT", "/proc/nowhere", 1);
    EXPECT_EQ(DMSGetProductUDN(), DMSGetProductUDN());
    EXPECT_THAT(DMSGetProductUDN(), testing::MatchesRegex(kRandomUuid));
    unsetenv("DMS_SYSROOT");
}

}  // namespace
}  // namespace MediaServer
