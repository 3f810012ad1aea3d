#include "names/volume.h"

#include <cstring>

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class ResolveVolumeTest : public RunTest {
 protected:
  ResolveVolumeTest() : here(scratch.Path()) {}

  std::size_t Resolve(std::string_view typed) {
    name.Assign(typed);
    return ResolveVolume(run, name);
  }
  void ExpectName(std::string_view typed, std::string_view resolved) {
    EXPECT_EQ(Resolve(typed), resolved.size()) << typed;
    EXPECT_EQ(name.View(), resolved) << typed;
  }
  // A volume whose directory has `length` characters and ends in `last`.
  void SetVolume(std::size_t length, char last) {
    environment.Set("KVRVOL_V", "/" + std::string(length - 2, 'v') + last);
  }

  CurrentDirectory here;
  PathText name;
};

TEST_F(ResolveVolumeTest, KeepsANameWithABar) {
  environment.Set("KVRVOL_DATA", "/srv/d");
  ExpectName("a|b:DATA", "a|b:DATA");
  ExpectName("a|b/TXT", "a|b/TXT");
}

TEST_F(ResolveVolumeTest, PutsTheVolumesDirectoryInFront) {
  environment.Set("KVRVOL_DATA", "/srv/d");
  ExpectName("CUST:DATA", "/srv/d/CUST");
}

TEST_F(ResolveVolumeTest, AddsNoSecondSlash) {
  environment.Set("KVRVOL_DATA", "/srv/d/");
  ExpectName("CUST:DATA", "/srv/d/CUST");
}

TEST_F(ResolveVolumeTest, AddsNoSlashBehindAColon) {
  environment.Set("KVRVOL_DATA", "c:");
  ExpectName("CUST:DATA", "c:CUST");
}

TEST_F(ResolveVolumeTest, LooksTheVolumeUpInUpperCase) {
  environment.Set("KVRVOL_DATA", "/srv/d");
  ExpectName("cust:data", "/srv/d/cust");
}

TEST_F(ResolveVolumeTest, LooksUpItsThreeVariablesInOrder) {
  environment.Set("TAVDB_DATA", "/third");
  ExpectName("CUST:DATA", "/third/CUST");
  environment.Set("KVR_DATA", "/second");
  ExpectName("CUST:DATA", "/second/CUST");
  environment.Set("KVRVOL_DATA", "/first");
  ExpectName("CUST:DATA", "/first/CUST");
}

TEST_F(ResolveVolumeTest, LooksTheVolumeUpInTheConfigurationFile) {
  run.names.iniFileName.Assign(scratch.Write("t.ini", "[environment]\nkvrvol_data=/ini\n"));
  ExpectName("CUST:DATA", "/ini/CUST");
}

TEST_F(ResolveVolumeTest, TakesTheVolumeBehindTheFirstColon) {
  environment.Set("KVRVOL_A:B", "/srv");
  ExpectName("CUST:a:b", "/srv/CUST");
}

TEST_F(ResolveVolumeTest, KeepsANameWhoseVolumeHasNoDirectory) {
  ExpectName("CUST:DATA", "CUST:DATA");
}

TEST_F(ResolveVolumeTest, TakesASlashBeforeTheVolumeForTheSeparator) {
  environment.Set("KVRVOL_VOL", "/srv");
  ExpectName("FILE/TXT:VOL", "/srv/FILE.TXT");
  ExpectName("a/b/c:VOL", "/srv/a/b.c");
}

TEST_F(ResolveVolumeTest, StopsAtASeparatorBeforeTheVolume) {
  environment.Set("KVRVOL_VOL", "/srv/");
  ExpectName("sub/FILE.TXT:VOL", "/srv/sub/FILE.TXT");
}

TEST_F(ResolveVolumeTest, NeverLooksAtTheFirstCharacterBeforeTheVolume) {
  environment.Set("KVRVOL_VOL", "/srv");
  ExpectName("/FILE:VOL", "/srv//FILE");
}

TEST_F(ResolveVolumeTest, ScansNothingInAnEmptyNameBeforeTheColon) {
  environment.Set("KVRVOL_VOL", "/srv");
  ExpectName(":VOL", "/srv/");
}

TEST_F(ResolveVolumeTest, UsesTheTerminalsSeparator) {
  environment.Set("KVRVOL_VOL", "/srv");
  run.names.extSeparator = '#';
  ExpectName("FILE/TXT:VOL", "/srv/FILE#TXT");
  ExpectName("ORDERS/TXT", "ORDERS#TXT");
}

TEST_F(ResolveVolumeTest, RefusesADirectoryOf256Characters) {
  SetVolume(256, '/');
  EXPECT_EQ(Resolve("C:V"), 0U);
}

TEST_F(ResolveVolumeTest, RefusesADirectoryThatItsSlashBringsTo256) {
  SetVolume(255, 'v');
  EXPECT_EQ(Resolve(":V"), 0U);
  SetVolume(255, '/');
  EXPECT_EQ(Resolve(":V"), 255U);
}

TEST_F(ResolveVolumeTest, RefusesDirectoryAndNameOf256Together) {
  SetVolume(250, '/');
  EXPECT_EQ(Resolve("12345:V"), 255U);
  EXPECT_EQ(Resolve("123456:V"), 0U);
}

TEST_F(ResolveVolumeTest, NeverChangesANameWithTwoSlashes) {
  ExpectName("dir/sub/file", "dir/sub/file");
  ExpectName("//x", "//x");
}

TEST_F(ResolveVolumeTest, LooksAtASecondSlashWhenTheNameHasAColon) {
  ExpectName("a/b/c:none", "a/b.c:none");
}

TEST_F(ResolveVolumeTest, TakesASlashBehindNoDirectoryForTheSeparator) {
  ExpectName("ORDERS/TXT", "ORDERS.TXT");
}

TEST_F(ResolveVolumeTest, KeepsASlashBehindADirectory) {
  scratch.MakeDirectory("ORDERS");
  ExpectName("ORDERS/TXT", "ORDERS/TXT");
}

TEST_F(ResolveVolumeTest, KeepsANameWithASeparatorBehindTheSlash) {
  ExpectName("ORDERS/cust.TXT", "ORDERS/cust.TXT");
}

TEST_F(ResolveVolumeTest, KeepsANameOfOneComponent) {
  ExpectName("ORDERS", "ORDERS");
  ExpectName("/ORDERS", "/ORDERS");
  ExpectName("x", "x");
}

TEST_F(ResolveVolumeTest, KeepsASlashBehindWhatMayNotBeLookedAt) {
  calls.FailFrom<&SystemCalls::stat>(1, EACCES);
  ExpectName("ORDERS/TXT", "ORDERS/TXT");
}

TEST_F(ResolveVolumeTest, ReadsTheErrorNumberAlsoBehindASuccessfulTest) {
  scratch.Write("ORDERS", "");
  calls.Replace<&SystemCalls::stat>([&](const char* path, struct stat* status) {
    const int result = calls.Original().stat(path, status);
    errno = EACCES;
    return result;
  });
  ExpectName("ORDERS/TXT", "ORDERS/TXT");
}

TEST_F(ResolveVolumeTest, ForgetsAnOlderErrorNumber) {
  scratch.Write("ORDERS", "");
  errno = EACCES;
  ExpectName("ORDERS/TXT", "ORDERS.TXT");
}

}  // namespace
}  // namespace tavindex::test
