#include "prove/lives/campaign.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "platform/process.h"
#include "prove/lives/judge.h"
#include "prove/lives/process.h"

namespace Tav::Testing {

std::string Plan::Name() const {
  std::string name = life->name;
  for (const std::string& word : fault) {
    name += ' ' + word;
  }
  return name;
}

void Tally::Add(const Tally& other) {
  cells += other.cells;
  notReached += other.notReached;
  withLoss += other.withLoss;
  failed += other.failed;
}

Campaign::Campaign(const std::string& name)
    : root_((std::filesystem::temp_directory_path() /
             ("tav_" + name + '_' + std::to_string(Platform::ProcessId())))
                .string()) {
  std::filesystem::create_directories(root_);
}

Campaign::~Campaign() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

bool Campaign::Prepare() {
  return LeaveEarlierRuns(earlier_);
}

void Campaign::PutEarlierRuns(const Life& life) const {
  std::filesystem::remove_all(cell_.folder);
  if (life.fresh) {
    std::filesystem::create_directories(cell_.folder);
  } else {
    std::filesystem::copy(earlier_.folder, cell_.folder, std::filesystem::copy_options::recursive);
  }
}

Tally Campaign::Execute(const Plan& plan) {
  PutEarlierRuns(*plan.life);
  std::vector<std::string> arguments = {cell_.folder, plan.life->name};
  arguments.insert(arguments.end(), plan.fault.begin(), plan.fault.end());
  const Ending ending = RunChild(arguments);
  const bool hit = !Evidence(cell_.EvidenceOf(plan.life->name)).Of(Fact::Hit).empty();
  Verdict verdict = Judge(cell_, *plan.life, ending, plan.isCalm);
  if (ending == Ending::Died && !(hit && plan.kills)) {
    verdict.complaints.emplace_back("the life was killed without a fault");
  }
  for (const std::string& complaint : verdict.complaints) {
    std::printf("FAILED %s: %s\n", plan.Name().c_str(), complaint.c_str());
  }
  if (verdict.lost > 0 && verdict.complaints.empty()) {
    std::printf("lost %s: %d of %d events: %s\n", plan.Name().c_str(), verdict.lost,
                verdict.accepted, verdict.account.c_str());
  }
  return {1, hit ? 0 : 1, verdict.lost > 0 ? 1 : 0, verdict.complaints.empty() ? 0 : 1};
}

std::map<std::string, int> Campaign::Measure(const Life& life, const Lines& fault) {
  std::map<std::string, int> counts;
  if (Execute({&life, fault, false, true}).failed > 0) {
    std::printf("the life '%s' fails without a fault\n", life.name);
    return counts;
  }
  const Evidence evidence(cell_.EvidenceOf(life.name));
  for (const std::string& line : evidence.Of(Fact::Counted)) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    words >> counts[name];
  }
  return counts;
}

int Campaign::Show(const Plan& plan) {
  const int status = Execute(plan).failed;
  for (const char* const run : {plan.life->name, "after"}) {
    std::printf("-- %s\n", run);
    const Evidence evidence(cell_.EvidenceOf(run));
    for (const Fact fact :
         {Fact::Logged, Fact::Hit, Fact::Reported, Fact::Accepted, Fact::Commit}) {
      for (const std::string& line : evidence.Of(fact)) {
        std::printf("%c %s\n", static_cast<char>(fact), line.c_str());
      }
    }
  }
  return status;
}

const Life* FindLife(const std::string& name) {
  const auto found = std::ranges::find_if(kLives, [&](const Life& l) { return l.name == name; });
  return found == std::end(kLives) ? nullptr : &*found;
}

int Conclude(const Tally& total, const std::string& what) {
  const int reached = total.cells - total.notReached;
  if (total.failed > 0 || reached == 0) {
    std::printf("%d of %d cells failed, %d were reached\n", total.failed, total.cells, reached);
    return 1;
  }
  std::printf("proved: %d cells: %s; %d not reached, %d lost events and said so\n", total.cells,
              what.c_str(), total.notReached, total.withLoss);
  return 0;
}

}  // namespace Tav::Testing
