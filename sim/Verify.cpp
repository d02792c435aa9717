#include "sim/Verify.h"

#include "sim/Verifier.h"

namespace Brindle::Sim {

namespace {

std::string vlanText(Bridging::VlanIdOrNone vlan) {
  return vlan ? "VLAN " + std::to_string(vlan.value()) : "no VLAN";
}

std::string outputText(PortVlan const & output) {
  return std::string(output.port.view()) + " in " + std::to_string(output.outLif.value());
}

// What a set lacks, and what it has besides; empty if it is the same.
std::string setDifference(OifSet const * wanted, OifSet const * found) {
  if (wanted == found) return "";
  if (!wanted || !found) {
    return std::string("has ") + (found ? "a set" : "no set") + ", expected " +
           (wanted ? "one" : "none");
  }
  PortVlanSet const & should = wanted->portVlanSet();
  PortVlanSet const & is = found->portVlanSet();
  std::string text;
  auto const add = [&](char const * what, PortVlan const & output) {
    text.append(text.empty() ? "" : ", ").append(what).append(outputText(output));
  };
  for (PortVlan const & output : should.portVlan().items()) {
    if (!is.portVlan().contains(output)) add("lacks the output ", output);
  }
  for (PortVlan const & output : is.portVlan().items()) {
    if (!should.portVlan().contains(output)) add("has besides the output ", output);
  }
  if (text.empty() && !(should == is)) text = "has the same outputs with other properties";
  return text;
}

}  // namespace

// --- The walk

VerifyView verify(Host const & host, std::optional<KeyView> const & only) {
  if (!host.started() || !host.hardware().runs()) return {};
  bool const later = host.hardware().reviewConfig() != nullptr;
  return (later ? makeAsyncVerifier(host, only) : makeSyncVerifier(host, only))->run();
}

VerifyView Verifier::run() {
  for (auto vrf : vrfs(host_)) routes(vrf);
  others();
  findUnheld();
  return std::move(view_);
}

bool Verifier::isMeant(KeyView const & key) const {
  return !only_ || (only_->vrf == key.vrf && only_->key == key.key);
}

void Verifier::differ(KeyView const & key, std::string const & where, std::string const & what) {
  if (isMeant(key)) view_.differences.push_back({key, where, what});
}

// --- Chips

void Verifier::compareEntry(KeyView const & key, Chip const & chip, Wanted const & wanted) {
  hold(chip, wanted.handle);
  compareEntry(key, chip, wanted, chip.entry(wanted.handle));
}

void Verifier::compareEntry(KeyView const & key, Chip const & chip, Wanted const & wanted,
                            std::optional<Chip::Entry> const & found) {
  std::string const where(chip.name().view());
  std::string const what = "the entry in " + vlanText(wanted.match.vlanId);
  if (!found) return differ(key, where, what + " is gone");
  if (found->key.sg != wanted.match.sg) {
    differ(key, where, what + " is one of " + found->key.sg.pretty());
  }
  if (found->key.vlanId != wanted.match.vlanId) {
    differ(key, where, what + " accepts in " + vlanText(found->key.vlanId));
  }
  if (wanted.active && !found->active) differ(key, where, what + " is not active");
  auto const set = setDifference(wanted.set, found->oifSet.get());
  if (!set.empty()) differ(key, where, what + " " + set);
  // A backup that became the route keeps its own, which is none.
  bool const anyRpa = !wanted.rpaId || found->rpaId == Shoal::Multicast::Fib::rpaNone;
  if (!anyRpa && found->rpaId != *wanted.rpaId) {
    differ(key, where, what + " has rendezvous point " + std::to_string(found->rpaId));
  }
}

// A chip does not know the VRF.
void Verifier::findUnheld() {
  for (Chip const * chip : host_.chips()) {
    auto const & held = held_[chip];
    for (auto const & entry : chip->entries()) {
      if (held.count(entry.handle.value)) continue;
      KeyView key{L3::VrfName::defaultVrf(), entry.key.sg};
      if (only_ && only_->key == key.key) key.vrf = only_->vrf;
      differ(key, std::string(chip->name().view()),
             "nobody holds the entry in " + vlanText(entry.key.vlanId));
    }
  }
}

// --- What is published

// One that has no VLAN any more, or whose VLAN is another's now, is told anew with the next
// version.
void Verifier::compareIntf(KeyView const & key, char const * which, Nettle::IntfId published,
                           Bridging::VlanIdOrNone vlan) {
  auto const & vlans = *host_.records().intfVlanIdTable;
  auto const expected = vlan ? vlans.vlanIdToIntfId(vlan) : Nettle::IntfId();
  bool const isOld = published && vlans.intfIdToVlanId(published) != vlan && vlan;
  // The name of the VLAN's own interface comes with its IP; what is published, with a version.
  bool const cameLater = !published && expected && !vlans.internalVlanId(expected);
  if (published == expected || isOld || cameLater || (vlan && !expected)) return;
  auto const text = [](Nettle::IntfId intf) {
    return intf ? std::string(intf.view()) : std::string("nothing");
  };
  differ(key, "status",
         "publishes " + text(published) + " as " + which + ", expected " + text(expected));
}

}  // namespace Brindle::Sim
