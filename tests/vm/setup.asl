// A firmware setup as one maker's servers show it to Linux through WMI: the kernel's think-lmi binds to
// it. A setting is taken when it is among its choices, and kept until the machine resets.
DefinitionBlock ("", "SSDT", 2, "SVREST", "SETUP", 1)
{
  Device (\_SB.SETU)
  {
    Name (_HID, "PNP0C14")
    Name (_UID, "setup")
    // name, value, choices
    Name (ITEM, Package () {
      Package () { "WakeOnLAN", "Enable", "Disable,Enable" },
      Package () { "BootMode", "Quick", "Quick,Diagnostics" },
      Package () { "USBPortAccess", "Enable", "Disable,Enable" }
    })

    // GUID, object, instances, flags (2: method, 4: text)
    Method (_WDG) {
      Local0 = Concatenate (ToUUID ("51F5230E-9677-46CD-A1CF-C0B23EE34DB7"), Buffer () {0x41, 0x41, 3, 4})
      Local1 = Concatenate (ToUUID ("98479A64-33F5-4E33-A707-8E251EBBC3A1"), Buffer () {0x41, 0x42, 1, 6})
      Local2 = Concatenate (ToUUID ("6A4B54EF-A5ED-4D33-9455-B0D9B48DF4B3"), Buffer () {0x41, 0x43, 1, 6})
      Local3 = Concatenate (ToUUID ("7364651A-132F-4FE7-ADAA-40C6C7EE2E3B"), Buffer () {0x41, 0x44, 1, 6})
      Local4 = Concatenate (ToUUID ("8ADB159E-1E32-455C-BC93-308A7ED98246"), Buffer () {0x41, 0x45, 1, 0})
      Return (Concatenate (Concatenate (Concatenate (Local0, Local1), Concatenate (Local2, Local3)), Local4))
    }

    // True when the text Arg0 has Arg1 at offset Arg2.
    Method (HAS, 3) { Return (Mid (Arg0, Arg2, SizeOf (Arg1)) == Arg1) }

    // The setting Arg0 as "name,value".
    Method (WQAA, 1) {
      Local0 = DerefOf (ITEM [Arg0])
      Return (Concatenate (Concatenate (DerefOf (Local0 [0]), ","), DerefOf (Local0 [1])))
    }
    // Sets the "name,value;" in Arg2.
    Method (WMAB, 3) {
      Local0 = ToString (Arg2)
      For (Local1 = 0, Local1 < SizeOf (ITEM), Local1++) {
        Local2 = Concatenate (DerefOf (DerefOf (ITEM [Local1]) [0]), ",")
        If (HAS (Local0, Local2, 0)) {
          Local3 = Mid (Local0, SizeOf (Local2), SizeOf (Local0) - SizeOf (Local2) - 1)
          Local4 = DerefOf (DerefOf (ITEM [Local1]) [2])
          For (Local5 = 0, Local5 < SizeOf (Local4), Local5++) {
            If (HAS (Local4, Local3, Local5)) {
              DerefOf (ITEM [Local1]) [1] = Local3
              Return ("Success")
            }
          }
        }
      }
      Return ("Invalid Parameter")
    }
    Method (WMAC, 3) { Return ("Success") }
    // The choices of the setting with the name in Arg2.
    Method (WMAD, 3) {
      For (Local1 = 0, Local1 < SizeOf (ITEM), Local1++) {
        Local2 = DerefOf (ITEM [Local1])
        If (HAS (ToString (Arg2), DerefOf (Local2 [0]), 0)) { Return (DerefOf (Local2 [2])) }
      }
      Return ("")
    }
    // Passwords: mode, state (none set), shortest, longest, encodings, keyboards.
    Method (WQAE, 1) {
      Return (Buffer () {0,0,0,0, 0,0,0,0, 4,0,0,0, 16,0,0,0, 1,0,0,0, 1,0,0,0})
    }
  }
}
