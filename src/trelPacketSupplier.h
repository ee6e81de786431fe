#ifndef trelPacketSupplier_h
#define trelPacketSupplier_h

class trelPacketNumbers;
struct trelExactPacket;

/** Where the packets of a thread come from. */
class trelPacketSupplier
{
public:
  virtual ~trelPacketSupplier() = default;
  /** Starts the next packet and its stream; false if there are no more, or packets are to rest. */
  virtual bool TakeNext(trelExactPacket* packet, trelPacketNumbers* numbers) = 0;
  /** Takes note of a packet that has ended. */
  virtual void End(const trelExactPacket& packet) = 0;
};

#endif
