#include <set>

#include "Platform/Foundation/NSBundle.h"
#include "Platform/Foundation/NSUUID.h"
#include "Platform/Foundation/internal/SystemFiles.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "QZUtils/Device/internal/DeviceVersion.h"
#include "QZUtils/Device/internal/ModelNames.h"
#include "QZUtils/Extensions/UIDevice/UIDevice+Info.h"
#include "Tests/Device/Support.h"

namespace qz::test {

/// A device whose host knows its marketing name.
class NamedDevice : public UIDevice {
    QZ_OBJECT(NamedDevice, UIDevice)
protected:
    NamedDevice() = default;
};

QZ_DEFINE_CLASS(NamedDevice, cls) {
    cls.method("_deviceInfoForKey:", [](const NamedDevice&, const id& key) {
        return key == "marketing-name" ? id("Reader One") : id();
    });
}

namespace {

using testing::Pair;

/// Firmware tables of machines that the test thinks up.
class ModelTest : public BundleTest {
protected:
    ModelTest() { internal::setSystemRoot(directory_); }
    ~ModelTest() override { internal::setSystemRoot(""); }

    const Ref<UIDevice> device_ = UIDevice::currentDevice();
};

TEST(ModelNames, AreAllThereInTheirOrder) {
    std::set<std::string_view> products;
    std::set<std::string_view> names;
    std::pair<std::string_view, std::pair<std::int64_t, std::int64_t>> before;
    std::string_view nameBefore;
    const std::vector<std::string_view> families = {"iPhone",  "iPod",       "iPad",
                                                    "Macmini", "MacBookPro", "MacBookAir"};
    for (const auto& [product, name] : internal::modelNames) {
        EXPECT_TRUE(products.insert(product).second) << product;
        // Products that share a name stand side by side.
        EXPECT_TRUE(names.insert(name).second || name == nameBefore) << product;
        const auto family = product.substr(0, product.find_first_of("0123456789"));
        const auto place = std::pair(family, internal::deviceVersion(product));
        const auto rank = [&](std::string_view one) {
            return std::find(families.begin(), families.end(), one);
        };
        EXPECT_NE(rank(family), families.end()) << product;
        if (!before.first.empty()) {
            EXPECT_TRUE(before.first == family ? before.second < place.second
                                               : rank(before.first) < rank(family))
                << product;
        }
        before = place;
        nameBefore = name;
    }
    EXPECT_EQ(products.size(), 130U);
    EXPECT_EQ(names.size(), 118U);
}

TEST_F(ModelTest, NamesProductsByTheList) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"iPhone10,3\n", "iPhone X"},
        {"iPad13,19", "iPad 10th Gen"},
        {"iPhone9,2", "iphone 7 Plus"},
        {"iPhone9,4", "iphone 7 Plus GSM"},
        {"iPad13,7", "iPad Pro 11 inch 5th Gen"},
        {"iPad14,3", "iPad Pro 11 inch 4th Gen"},
        {"iphone10,3", std::nullopt},
        {"iPhone10,33", std::nullopt},
        {"iPhone10,3 ", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [product, name] : cases) {
        write("sys/class/dmi/id/product_name", product);
        EXPECT_EQ(manualMarketingDeviceName(device_), name) << product;
    }
}

TEST_F(ModelTest, ReadsTheFirmwaresTablesOrElseTheProcessor) {
    const auto processor = UIDeviceClass::rawSystemInfoString();
    EXPECT_FALSE(processor.empty());
    EXPECT_EQ(platform(device_), processor);
    write("proc/device-tree/model", std::string_view("Raspberry Pi 4 Model B\0", 23));
    EXPECT_EQ(platform(device_), "Raspberry Pi 4 Model B");
    write("sys/class/dmi/id/product_name", "20XW\n");
    EXPECT_EQ(platform(device_), "20XW");
    write("sys/class/dmi/id/product_name", "Gerät\n");  // not ASCII
    EXPECT_EQ(platform(device_), processor);
}

TEST_F(ModelTest, TellsPhones) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"sys/class/dmi/id/chassis_type", "9\n", false},
        {"sys/class/dmi/id/chassis_type", "11\n", true},
        {"etc/machine-info", "PRETTY_NAME=x\nCHASSIS=\"tablet\"\n", false},  // before the firmware's word
        {"etc/machine-info", "CHASSIS=handset", true},
    };
    for (const auto& [place, content, isPhone] : cases) {
        write(place, content);
        EXPECT_EQ(UIDeviceClass::isPhone(), isPhone) << content;
    }
}

TEST(DeviceVersion, IsWhatStandsAroundTheFirstComma) {
    const std::tuple<const char*, std::int64_t, std::int64_t> cases[] = {
        {"iPhone10,3", 10, 3},
        {"x86_64", 0, 0},
        {"", 0, 0},
        {"Board7b,12c,9", 7, 12},
        {"Board,5", 0, 5},
        {"Board3,", 3, 0},
        {"B99999999999999999999,1", INT64_MAX, 1},
    };
    for (const auto& [machine, major, minor] : cases) {
        EXPECT_THAT(internal::deviceVersion(machine), Pair(major, minor)) << machine;
    }
}

TEST_F(ModelTest, TakesTheBestNameOnceInAProcess) {
    const Ref<UIDevice> named = make<NamedDevice>();
    EXPECT_EQ(marketingDeviceName(device_), std::nullopt);
    EXPECT_EQ(marketingDeviceName(named), "Reader One");
    ::setenv("SIMULATOR_DEVICE_NAME", "Tablet", 1);
    EXPECT_EQ(marketingDeviceName(named), "Simulator Tablet");
    write("sys/class/dmi/id/product_name", "iPad2,1");
    inChild("de", [&] { EXPECT_EQ(platformString(device_), "iPad 2"); });
    write("sys/class/dmi/id/product_name", "Unknown");
    inChild("de", [&] {
        EXPECT_EQ(platformString(device_), "Simulator Tablet");
        ::unsetenv("SIMULATOR_DEVICE_NAME");
        EXPECT_EQ(platformString(named), "Simulator Tablet");
    });
    ::setenv("SIMULATOR_DEVICE_NAME", "", 1);
    inChild("de", [&] { EXPECT_EQ(send<std::string>(device_, "platformString"_sel), "Unknown"); });
    ::unsetenv("SIMULATOR_DEVICE_NAME");
}

TEST_F(ModelTest, HashesTheMachinesIdentifierWithTheApplications) {
    EXPECT_EQ(device_->identifierForVendor(), nullptr);
    for (const auto* content : {"uninitialized\n", "", "00000000000000000000000000000000\n",
                                "0123456789abcdef\n", "0123456789abcdef0123456789abcdeg\n"}) {
        write("etc/machine-id", content);
        EXPECT_EQ(device_->identifierForVendor(), nullptr) << content;
    }
    write("etc/machine-id", "0123456789abcdef0123456789abcdef\n");
    write("app/Info.plist", "{ CFBundleIdentifier = org.example.reader; }");
    NSBundle::setMainBundle(NSBundle::bundleWithPath(at("app")));
    const auto ofReader = device_->identifierForVendor()->UUIDString();
    // printf org.example.reader | openssl dgst -sha256 -mac HMAC -macopt
    // hexkey:0123456789abcdef0123456789abcdef, the first 16 bytes, with version and variant set as in
    // systemd's sd_id128_get_machine_app_specific(3)
    EXPECT_EQ(ofReader, "C28F88E1-057A-4BCE-8CF4-C6C2F5109821");
    NSBundle::setMainBundle(nullptr);
    EXPECT_NE(device_->identifierForVendor()->UUIDString(), ofReader);
}

}  // namespace

}  // namespace qz::test
