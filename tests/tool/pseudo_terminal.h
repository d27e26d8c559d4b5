// A pseudo-terminal for the tool's standard output or error, read while the
// tool runs so that a full terminal buffer never stalls it.
#ifndef VEXA_TESTS_TOOL_PSEUDO_TERMINAL_H_
#define VEXA_TESTS_TOOL_PSEUDO_TERMINAL_H_

#include <string>
#include <thread>

namespace vexa::test {

class PseudoTerminal {
  public:
    PseudoTerminal();
    ~PseudoTerminal() { shown(); }
    PseudoTerminal(PseudoTerminal const&) = delete;
    PseudoTerminal& operator=(PseudoTerminal const&) = delete;

    // The descriptor to hand to the tool; -1 when no terminal could be made.
    int side() const { return side_; }

    // Everything shown, once the tool has ended.
    std::string const& shown();

  private:
    int terminal_;
    int side_ = -1;
    std::string shown_;
    std::thread reader_;
};

}  // namespace vexa::test

#endif  // VEXA_TESTS_TOOL_PSEUDO_TERMINAL_H_
