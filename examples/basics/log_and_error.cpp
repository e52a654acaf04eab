// A log configured in the registry, and an error that gets its words from the component's
// message library only when somebody asks for them.
#include <basalt/basalt.h>
#include <cstdio>
#include <cstdlib>

int main() {
  setenv("BASALT_REGISTRY", EXAMPLES_REGISTRY, 0); // read at the log's first use
  basalt::CoreLog* log = basalt::getLogObject();

  const KELPString user("alice");
  const unsigned short* inserts[] = {user.c_str()};
  log->log(0x43100001, basalt::CoreLog::VerbosityInformation, "EXAMPLE", "", 1, inserts);

  try {
    BaseError error(0xC3100002, "EXAMPLE", TRELL_o::AnyError::SeverityError,
                    TRELL_o::AnyError::CompletedDefault);
    error.addInsert(KELPString("Sales 2024").c_str());
    error.addNumInsert(3);
    error.log(log); // a line in the log file, still without looking the text up here
    throw error;
  } catch (TRELL_o::AnyError& error) {
    std::printf("caught 0x%08X: %s\n", error.code(), error.getText(log).string().c_str());
  }
  std::printf("both records are in basalt_examples.log in $TMPDIR (or /tmp)\n");
  return 0;
}
