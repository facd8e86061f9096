// What a peer written in C++ is for the others: something that translates what nodes hold natively into OpenConfig. The
// data is that of make_nodes.py.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace peers {

/// Input power of one port in the system database, as text with white space around it.
struct Record {
    std::string controller; ///< "Ots0_1_0_0"
    std::string minimum, average, maximum;
};

/// What one node holds.
struct NativeNode {
    std::string xml; ///< two documents, one after the other
    std::vector<Record> records;
};

/// Something that is timed: `run` does the whole work once and keeps what came out, `discard` throws that away untimed.
struct Measure {
    const char *name; ///< "parsed" or "text"
    std::function<void()> run;
    std::function<void()> discard;
};

/// A peer, ready to be timed: what can be done before the first node comes has been done.
class Peer {
  public:
    virtual ~Peer() = default;

    virtual std::vector<Measure> measures() = 0;
    /// The answer of every node: OpenConfig XML, or lines of amplifier, path below its entry and value with tabs
    /// between.
    virtual std::vector<std::string> answers() = 0;
};

/// Each program has one. The nodes outlive the peer.
std::unique_ptr<Peer> make_peer(const std::vector<NativeNode> &nodes);

/// The text without white space around it.
std::string_view stripped(std::string_view text);

/// An amplifier's names, from the one of its OTS port ("Ots0/1/0/0").
struct AmplifierNames {
    std::string name;             ///< "0/1-AMP-PRE"
    std::string ingress, egress;  ///< "0/1-OtsCtrl-0/1"
    std::string input_controller; ///< "Ots0_1_0_1": the record of the slot's other port has the input power

    explicit AmplifierNames(std::string_view port);
};

/// Text of hundredths in whole units, two decimals.
std::string whole_units(const char *hundredths);

} // namespace peers
