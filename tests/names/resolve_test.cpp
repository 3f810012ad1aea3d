#include "names/resolve.h"

#include "support/run_test.h"

namespace tavindex::test {
namespace {

class ResolveTest : public RunTest {
 protected:
  ResolveTest() : here(scratch.MakeDirectory("here")) {}

  std::string Data(std::string_view typed) {
    run.files.dataFileName.Assign(typed);
    EXPECT_TRUE(ResolveDataName(run)) << typed;
    return run.files.dataFileName.CStr();
  }
  // The index's parts, joined, for a data file that was resolved before.
  std::string Index(std::string_view typed) {
    run.files.outputFileName.Assign(typed);
    EXPECT_TRUE(ResolveIndexParts(run)) << typed;
    const FileNameParts& parts = run.names.indexParts;
    return std::string(parts.directory.View()) + parts.base.CStr() + parts.extension.CStr();
  }
  std::string Isi(std::string_view typed) {
    PathText name;
    name.Assign(typed);
    EXPECT_TRUE(ResolveIsiName(run, name)) << typed;
    return name.CStr();
  }
  // A volume whose directory leaves room for no name.
  void SetFullVolume() { environment.Set("KVRVOL_FULL", "/" + std::string(253, 'v')); }

  CurrentDirectory here;
};

using ResolveDataNameTest = ResolveTest;
using ResolveIndexPartsTest = ResolveTest;
using ResolveIsiNameTest = ResolveTest;

TEST_F(ResolveDataNameTest, SuppliesTheDefaultExtension) {
  EXPECT_EQ(Data("cust"), "cust.TXT");
  EXPECT_EQ(Data("/srv/cust"), "/srv/cust.TXT");
  EXPECT_EQ(Data("cust.dat"), "cust.dat");
}

TEST_F(ResolveDataNameTest, TakesATrailingSeparatorForNoExtension) {
  EXPECT_EQ(Data("cust."), "cust");
  EXPECT_TRUE(run.names.dataParts.extension.Empty());
}

TEST_F(ResolveDataNameTest, SuppliesTheIndexExtensionInACompactRun) {
  run.options.compactFlags = 1;
  EXPECT_EQ(Data("cust"), "cust.ISI");
}

TEST_F(ResolveDataNameTest, ResolvesAVolumeFirst) {
  environment.Set("KVRVOL_DATA", "/srv/d");
  EXPECT_EQ(Data("CUST:DATA"), "/srv/d/CUST.TXT");
}

TEST_F(ResolveDataNameTest, LooksAlongTheSearchPathWithTheDefaultExtension) {
  scratch.MakeDirectory("p");
  scratch.Write("p/cust.TXT", "");
  run.names.searchPath.Assign(scratch.Path("p"));
  EXPECT_EQ(Data("cust"), scratch.Path("p/cust.TXT"));
  EXPECT_EQ(run.names.dataParts.directory.View(), scratch.Path("p/"));
}

TEST_F(ResolveDataNameTest, LooksNowhereForANameWithADirectory) {
  scratch.MakeDirectory("p");
  scratch.Write("p/cust.TXT", "");
  run.names.searchPath.Assign(scratch.Path("p"));
  EXPECT_EQ(Data("./cust"), "./cust.TXT");
}

TEST_F(ResolveDataNameTest, LowersTheCaseDirectoryIncluded) {
  run.names.lowerCaseNames = true;
  EXPECT_EQ(Data("/Data/Cust.TXT"), "/data/cust.txt");
}

TEST_F(ResolveDataNameTest, KeepsTheTypedNameWhenTheVolumeDoesNotFit) {
  SetFullVolume();
  run.files.dataFileName.Assign("dir/cust:full");
  EXPECT_FALSE(ResolveDataName(run));
  EXPECT_EQ(run.files.dataFileName.View(), "dir/cust:full");
}

TEST_F(ResolveIndexPartsTest, TakesAnEmptyNameFromTheDataFile) {
  Data("/srv/cust.dat");
  EXPECT_EQ(Index(""), "/srv/cust.ISI");
}

TEST_F(ResolveIndexPartsTest, LiesBesideTheDataFile) {
  Data("/srv/cust.dat");
  EXPECT_EQ(Index("byname"), "/srv/byname.ISI");
  EXPECT_EQ(Index("byname.ix"), "/srv/byname.ix");
}

TEST_F(ResolveIndexPartsTest, KeepsADirectoryOfItsOwn) {
  Data("/srv/cust.dat");
  EXPECT_EQ(Index("/idx/byname"), "/idx/byname.ISI");
}

TEST_F(ResolveIndexPartsTest, TakesAMissingBaseNameFromTheDataFile) {
  Data("/srv/cust.dat");
  EXPECT_EQ(Index("/idx/sub/"), "/idx/sub/cust.ISI");
  EXPECT_EQ(Index(".ix"), "/srv/cust.ix");
}

TEST_F(ResolveIndexPartsTest, TakesTheDataFilesExtensionInACompactRun) {
  run.options.compactFlags = 1;
  Data("/srv/old.ix");
  EXPECT_EQ(Index("new"), "/srv/new.ix");
}

TEST_F(ResolveIndexPartsTest, TakesTheDataFilesExtensionInSortMode) {
  run.control.indexMode = false;
  run.control.sortMode = true;
  Data("/srv/old.dat");
  EXPECT_EQ(Index("new"), "/srv/new.dat");
}

TEST_F(ResolveIndexPartsTest, LooksAlongTheSearchPathBeforeTheDataFilesDirectory) {
  scratch.MakeDirectory("p");
  scratch.Write("p/byname.ISI", "");
  Data("/srv/cust.dat");
  run.names.searchPath.Assign(scratch.Path("p"));
  EXPECT_EQ(Index("byname"), scratch.Path("p/byname.ISI"));
  EXPECT_EQ(Index("other"), "/srv/other.ISI");
}

TEST_F(ResolveIndexPartsTest, KeepsTheTypedNameWhenTheVolumeDoesNotFit) {
  SetFullVolume();
  Data("cust");
  run.files.outputFileName.Assign("isi:full");
  EXPECT_FALSE(ResolveIndexParts(run));
  EXPECT_EQ(run.files.outputFileName.View(), "isi:full");
}

TEST_F(ResolveIsiNameTest, SuppliesTheIndexExtension) {
  EXPECT_EQ(Isi("cust"), "cust.ISI");
  EXPECT_EQ(Isi("/srv/cust.ix"), "/srv/cust.ix");
}

TEST_F(ResolveIsiNameTest, LooksAlongTheSearchPath) {
  scratch.MakeDirectory("p");
  scratch.Write("p/cust.ISI", "");
  run.names.searchPath.Assign("/none:" + scratch.Path("p"));
  EXPECT_EQ(Isi("cust"), scratch.Path("p/cust.ISI"));
}

TEST_F(ResolveIsiNameTest, ResolvesAVolume) {
  environment.Set("KVR_DATA", "/srv/d/");
  EXPECT_EQ(Isi("cust:data"), "/srv/d/cust.ISI");
}

TEST_F(ResolveIsiNameTest, KeepsTheTypedNameWhenTheVolumeDoesNotFit) {
  SetFullVolume();
  PathText name;
  name.Assign("cust:full");
  EXPECT_FALSE(ResolveIsiName(run, name));
  EXPECT_EQ(name.View(), "cust:full");
}

}  // namespace
}  // namespace tavindex::test
