// Tables of bidirectional PIM in shared memory: what the protocol publishes through, and what the
// machines that program the chips read.
#pragma once

#include <memory>
#include <string>

#include "platform/ShoalTable.h"
#include "state/BidirWire.h"

namespace Shoal::Multicast::Fib {

// A table as a reader has it, mounted by ZetShoal::Mount as bidirStatusType.
//
// All that stands in it is told in turns, from the first one on. A table that is not what it should
// be is refused: it reads as empty, and each key is told. The same is done with each key when the
// files of a table have come and gone faster than they could be followed.
//
// What a turn tells is who has come and gone; the values are looked at by who reads them.
class BRINDLE_API ShmBidirStatus : public BidirStatus {
 public:
  // Throws ShoalError for a bad name only: a table that does not stand yet is empty.
  ShmBidirStatus(std::shared_ptr<ZetShoal::ShoalWatch> watch, std::string const & root,
                 std::string const & table);

  // Whether a turn has anything to do.
  bool due() const;
  // Tells what has changed, at most so many keys; all callbacks come from here.
  void turn(U32 atMost);
  // Why the table is refused; empty if it is not.
  std::string const & refusal() const { return dir_.refusal(); }

  using BidirStatus::bidirGroup;
  using BidirStatus::dfProfile;
  BidirGroup bidirGroup(Prefix const &) const override;
  DfProfile dfProfile(IntfId) const override;
  void corruptionDetected(Wharf::CorruptionDetectedException const &) const override;

 private:
  using Groups = ZetShoal::TableReader<WirePrefix, WirePrefix>;
  using Profiles = ZetShoal::TableReader<WireName, WireDfProfile>;

  bool followGroup();
  bool followProfile();
  void followLosses();

  std::shared_ptr<ZetShoal::ShoalWatch> const watch_;
  mutable ZetShoal::ShoalReaderDir dir_;
  mutable Groups groups_;
  mutable Profiles profiles_;
  // Keys that were read before they were told.
  mutable Zet::OrderedSet<Prefix> readGroups_;
  mutable Zet::OrderedSet<IntfId> readProfiles_;
  // Keys that may have gone without a word of it, and are to be told again.
  Zet::CompactVector<Prefix> lostGroups_;
  Zet::CompactVector<IntfId> lostProfiles_;
  Zet::OrderedSet<IntfId> named_;  // all interfaces that this table has ever named
  bool refused_ = false;
  U32 losses_ = 0;
};

// A table as its one writer has it; reactors of the writer's own process may watch it, too. What
// the last writer left stands until it is overwritten or deleted, as far as it can be read.
class BRINDLE_API ShmBidirStatusWriter : public BidirStatus {
 public:
  // Throws ShoalError, for instance if the table has a writer.
  ShmBidirStatusWriter(std::string const & root, std::string const & table);

  // Wakes the readers: once a batch.
  void commit() { dir_.commit(); }
  // Takes the table away; nothing may be written any more.
  void remove() { dir_.remove(); }

  using BidirStatus::bidirGroup;
  using BidirStatus::dfProfile;
  BidirGroup bidirGroup(Prefix const &) const override;
  DfProfile dfProfile(IntfId) const override;

  // These throw RangeException for what cannot be published, and ShoalError if there is no memory;
  // the table is then as before.
  void bidirGroupIs(Prefix const &) override;
  void bidirGroupDel(Prefix const &) override;
  void dfProfileIs(IntfId, DfProfile) override;

 private:
  void takeOverGroups();
  void takeOverProfiles();

  ZetShoal::ShoalWriterDir dir_;
  ZetShoal::TableWriter<WirePrefix, WirePrefix> groups_;
  ZetShoal::TableWriter<WireName, WireDfProfile> profiles_;
};

}  // namespace Shoal::Multicast::Fib
