// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostLinux/System/ThermalSensors.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = MachineMetrics::ThermalState;

TEST(Temperature, isReadInThousandthsOfADegree) {
  EXPECT_EQ(parseTemperature("45000\n"), 45'000);
  EXPECT_EQ(parseTemperature("-5000"), -5'000);
  EXPECT_EQ(parseTemperature(" 0 \n"), 0);
}

TEST(Temperature, isAbsentWhenItIsMalformedOrAbsurd) {
  for (const char* text : {"", "\n", "hot", "45000x", "4.5", "0x10", "-274000", "2147483647", "200001",
                           "-50001", "99999999999999999999"})
    EXPECT_EQ(parseTemperature(text), std::nullopt) << text;
}

TEST(ThermalLimits, ofAZoneFollowItsPassiveAndCriticalTrips) {
  EXPECT_EQ(limitsOfZone({{"critical", 105'000}, {"passive", 90'000}, {"active", 50'000}}),
            (ThermalLimits{.fair = 80'000, .serious = 90'000, .critical = 100'000}));
}

TEST(ThermalLimits, ofAZonePreferTheLowestOfSeveralTrips) {
  EXPECT_EQ(limitsOfZone({{"hot", 97'000}, {"critical", 110'000}, {"passive", 95'000}, {"passive", 85'000}}),
            (ThermalLimits{.fair = 75'000, .serious = 85'000, .critical = 97'000}));
}

TEST(ThermalLimits, ofAZoneWithoutAPassiveTripFollowTheCriticalOne) {
  EXPECT_EQ(limitsOfZone({{"critical", 100'000}}),
            (ThermalLimits{.fair = 80'000, .serious = 90'000, .critical = 95'000}));
}

TEST(ThermalLimits, ofAZoneIgnoreFansAndUnsetAndUnknownTrips) {
  EXPECT_EQ(limitsOfZone({{"active", 40'000}, {"passive", 0}, {"critical", -1'000}, {"other", 10'000}}),
            ThermalLimits{});
  EXPECT_EQ(limitsOfZone({}), ThermalLimits{});
}

TEST(ThermalLimits, ofAChipFollowItsMaximumAndItsCriticalTemperature) {
  EXPECT_EQ(limitsOfChip(82'000, 100'000),
            (ThermalLimits{.fair = 82'000, .serious = 95'000, .critical = 100'000}));
  EXPECT_EQ(limitsOfChip({}, 100'000),
            (ThermalLimits{.fair = 80'000, .serious = 95'000, .critical = 100'000}));
  EXPECT_EQ(limitsOfChip(70'000, {}), (ThermalLimits{.fair = 70'000, .serious = {}, .critical = {}}));
  EXPECT_EQ(limitsOfChip(100'000, 100'000),
            (ThermalLimits{.fair = 95'000, .serious = 95'000, .critical = 100'000}));
  EXPECT_EQ(limitsOfChip(0, 0), ThermalLimits{});
  EXPECT_EQ(limitsOfChip({}, {}), ThermalLimits{});
}

TEST(ThermalState, hasFourLevels) {
  const ThermalLimits limits{.fair = 80'000, .serious = 90'000, .critical = 95'000};
  EXPECT_EQ(thermalStateAt(79'999, limits), State::nominal);
  EXPECT_EQ(thermalStateAt(80'000, limits), State::fair);
  EXPECT_EQ(thermalStateAt(90'000, limits), State::serious);
  EXPECT_EQ(thermalStateAt(95'000, limits), State::critical);
  EXPECT_EQ(thermalStateAt(200'000, ThermalLimits{}), State::nominal);
}

class ThermalSensorsTest : public testing::Test {
 protected:
  void zone(const std::string& name, const std::string& temperature,
            const std::vector<std::pair<std::string, std::string>>& trips) {
    const std::string path = "sys/class/thermal/" + name + "/";
    folder_.write(path + "temp", temperature);
    for (std::size_t number = 0; number < trips.size(); ++number) {
      folder_.write(path + "trip_point_" + std::to_string(number) + "_type", trips[number].first + "\n");
      folder_.write(path + "trip_point_" + std::to_string(number) + "_temp", trips[number].second + "\n");
    }
  }
  std::vector<ThermalSensor> found() const { return findThermalSensors(folder_.path().string()); }
  std::string path(const std::string& name) const { return folder_.file("sys/class/" + name); }

  TemporaryFolder folder_;
};

TEST_F(ThermalSensorsTest, areTheZonesWithTripsInTheOrderOfTheirNames) {
  zone("thermal_zone1", "50000", {{"critical", "105000"}, {"passive", "95000"}});
  zone("thermal_zone0", "27800", {{"critical", "119000"}});
  zone("thermal_zone3", "27800", {{"critical", "119000"}});
  zone("thermal_zone2", "20000", {});
  zone("cooling_device0", "20000", {{"critical", "100000"}});
  const auto sensors = found();
  ASSERT_EQ(sensors.size(), 3U);
  EXPECT_EQ(sensors[0].temperatureFile, path("thermal/thermal_zone0/temp"));
  EXPECT_EQ(sensors[2].temperatureFile, path("thermal/thermal_zone3/temp"));
  EXPECT_EQ(sensors[1], (ThermalSensor{path("thermal/thermal_zone1/temp"), {85'000, 95'000, 100'000}}));
}

TEST_F(ThermalSensorsTest, leaveOutDisabledZones) {
  zone("thermal_zone0", "27800", {{"critical", "100000"}});
  folder_.write("sys/class/thermal/thermal_zone0/mode", "disabled\n");
  EXPECT_THAT(found(), IsEmpty());
  folder_.write("sys/class/thermal/thermal_zone0/mode", "enabled\n");
  EXPECT_EQ(found().size(), 1U);
}

TEST_F(ThermalSensorsTest, leaveOutZonesThatCannotBeRead) {
  folder_.write("sys/class/thermal/thermal_zone0/trip_point_0_type", "critical");
  folder_.write("sys/class/thermal/thermal_zone0/trip_point_0_temp", "100000");
  std::filesystem::create_directories(path("thermal/thermal_zone0/temp"));
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(ThermalSensorsTest, areTheChipsOfProcessorsButNotThoseOfDrives) {
  for (const auto& [chip, name] : {std::pair("hwmon0", "coretemp"), std::pair("hwmon1", "drivetemp")}) {
    const std::string prefix = std::string("sys/class/hwmon/") + chip + "/";
    folder_.write(prefix + "name", std::string(name) + "\n");
    folder_.write(prefix + "temp1_input", "40000\n");
    folder_.write(prefix + "temp1_max", "80000\n");
    folder_.write(prefix + "temp1_crit", "100000\n");
    folder_.write(prefix + "temp2_input", "41000\n");
  }
  EXPECT_THAT(found(),
              ElementsAre(ThermalSensor{path("hwmon/hwmon0/temp1_input"), {80'000, 95'000, 100'000}}));
}

TEST_F(ThermalSensorsTest, areBoundedInNumber) {
  for (int number = 0; number < 200; ++number)
    zone("thermal_zone" + std::to_string(number), "1000", {{"critical", "100000"}});
  EXPECT_EQ(found().size(), 64U);
}

TEST_F(ThermalSensorsTest, areNoneWithoutTheFolders) {
  EXPECT_THAT(found(), IsEmpty());
}

}  // namespace
}  // namespace quorl::test
