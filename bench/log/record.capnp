@0xd1c7a9b05e2f4a63;
using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("cap");

struct Record {
  first @0 :UInt32;
  second @1 :UInt32;
  attribute @2 :Int32;
  kind @3 :UInt8;
  count @4 :UInt32;
  creation @5 :UInt32;
  transaction @6 :UInt8;
  value :union {
    number @7 :UInt32;
    state @8 :Int32;
    time @9 :Float64;
    member :group {
      key @10 :Text;
      truth @11 :Bool;
    }
  }
}
