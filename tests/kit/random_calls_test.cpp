// Random sequences of calls of the C++ header: the files of all calls that succeed pass `varnel check`.

#include "kit/random_sequence.h"
#include "support/process.h"

#include <map>

namespace varnel::test {
namespace {

class RandomCalls : public AgentTest {
 protected:
  // What `varnel check` has printed, and the sequence of each file that it refuses.
  std::string Refused(const std::map<std::string, std::string>& sequences) {
    std::string refused = ReadBytes(output_);
    for (const auto& row : RegexMatches(refused, "(?:^|\n)([^\r\n]*):\\d+:\\d+: ")) {
      const auto version = RegexMatches(ReadBytes(Wide(row[1])), "ProductVersion=\"(sequence \\d+)\"");
      if (!version.empty()) refused += "\n" + sequences.at(version[0][1]);
    }
    return refused;
  }

  const std::wstring output_ = folder.File(L"output.txt");
};

TEST_F(RandomCalls, MakeFilesThatVarnelCheckAccepts) {
  SetNumber(kLog, L"LogLevel", 1);
  const varnel::Library library = varnel::Library::FromFile(Library::Path().c_str());
  std::map<std::string, std::string> sequences;
  std::size_t saved = 0;
  const auto count = static_cast<unsigned>(Count(300, 10'000));
  for (unsigned seed = 0; seed < count; ++seed) {
    const Sequence sequence(seed, library);
    sequences.emplace("sequence " + std::to_string(seed), sequence.Lines());
    saved += sequence.Saved();
  }
  EXPECT_LT(count, saved) << "most sequences save, some more than once";
  const DWORD status = ChildProcess(L"cmd /c " + Wide(VARNEL_BIN "/varnel.exe") + L" check " + agentEvents +
                                    L" " + serverEvents + L" > " + output_)
                           .Wait(600'000);
  EXPECT_EQ(0u, status) << Refused(sequences);
  const std::size_t files = FilesIn(agentEvents).size() + FilesIn(serverEvents).size();
  EXPECT_GE(files + 2, saved) << "two agent files of the same name are the library's to lose";
  const std::string all = std::to_string(files);
  EXPECT_NE(std::string::npos, ReadBytes(output_).find(all + " of " + all + " files all right"));
  std::printf("figures: %u call sequences of varnel.hpp: %s event files, all right\n", count, all.c_str());
}

}  // namespace
}  // namespace varnel::test
