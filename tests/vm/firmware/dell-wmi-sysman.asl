// Firmware settings as the kernel's dell-wmi-sysman expects them of WMI: packages, and buffers with UTF-16
// texts to set them. Values and the password are kept until the machine resets. Each wrong password is a
// "!" on the debug port.
DefinitionBlock ("", "SSDT", 2, "SVREST", "SETUP2", 1)
{
  Device (\_SB.SET2)
  {
    Name (_HID, "PNP0C14")
    Name (_UID, "2")
    OperationRegion (PORT, SystemIO, 0xE9, 1)
    Field (PORT, ByteAcc, NoLock, Preserve) { TELL, 8 }
    // name, language, displayed name, default, value, modifier, and
    // - a count of conditions, those, a count of choices, those
    Name (CHOI, Package () {
      Package () { "Virtualization", "en", "Virtualization Technology", "Enabled", "Enabled", "",
                   0, 2, "Disabled", "Enabled" },
      Package () { "AcPwrRcvry", "en", "AC Recovery", "Last", "Last", "", 0, 3, "Off", "On", "Last" },
      Package () { "AcDelay", "en", "AC Recovery Delay", "None", "None", "[SuppressIf:AcPwrRcvry=Off]",
                   0, 2, "None", "Random" },
      // takes every value and keeps its own
      Package () { "Deaf", "en", "Wake on AC", "Off", "Off", "", 0, 2, "Off", "On" }
    })
    // - least, greatest, step
    Name (NUMB, Package () { Package () { "AutoOnHr", "en", "Auto-On Hour", 0, 6, "", 0, 23, 1 } })
    // - shortest, longest
    Name (TXTS, Package () { Package () { "Asset", "en", "Asset Tag", "", "rack 7", "", 0, 10 } })
    Name (PASS, "")

    // GUID, object, instances, flags (2: method)
    Method (_WDG) {
      Local0 = Concatenate (ToUUID ("F1DDEE52-063C-4784-A11E-8A06684B9BF5"), Buffer () {0x42, 0x41, 4, 0})
      Local1 = Concatenate (ToUUID ("F1DDEE52-063C-4784-A11E-8A06684B9BFA"), Buffer () {0x42, 0x42, 1, 0})
      Local2 = Concatenate (ToUUID ("F1DDEE52-063C-4784-A11E-8A06684B9BF9"), Buffer () {0x42, 0x43, 1, 0})
      Local3 = Concatenate (ToUUID ("0894B8D6-44A6-4719-97D7-6AD24108BFD4"), Buffer () {0x42, 0x44, 1, 0})
      Local4 = Concatenate (ToUUID ("F1DDEE52-063C-4784-A11E-8A06684B9BF4"), Buffer () {0x42, 0x45, 1, 2})
      Local5 = Concatenate (ToUUID ("70FE8229-D03B-4214-A1C6-1F884B1A892A"), Buffer () {0x42, 0x46, 1, 2})
      Return (Concatenate (Concatenate (Concatenate (Local0, Local1), Concatenate (Local2, Local3)),
                           Concatenate (Local4, Local5)))
    }
    Method (WQBA, 1) { Return (DerefOf (CHOI [Arg0])) }
    Method (WQBB, 1) { Return (DerefOf (NUMB [Arg0])) }
    Method (WQBC, 1) { Return (DerefOf (TXTS [Arg0])) }
    Method (WQBD, 1) {
      Local0 = Package () { "Admin", 0, 4, 32 }
      If (PASS != "") { Local0 [1] = One }
      Return (Local0)
    }

    // The text at offset Arg1 of the buffer Arg0: a length in bytes, and UTF-16.
    Method (TEXT, 2) {
      Local0 = DerefOf (Arg0 [Arg1]) / 2
      Local1 = Buffer (Local0 + 1) {}
      For (Local2 = 0, Local2 < Local0, Local2++) { Local1 [Local2] = DerefOf (Arg0 [Arg1 + 2 + 2 * Local2]) }
      Return (ToString (Local1))
    }
    // Behind the password at the beginning of a buffer, or 0 when that is wrong: kind and length, 4 bytes
    // each, and the password, filled up to even bytes.
    Method (OPEN, 1) {
      Local0 = DerefOf (Arg0 [4])
      If (PASS != "" && PASS != ToString (Mid (Arg0, 8, Local0))) {
        If (Local0) { TELL = 0x21 }
        Return (Zero)
      }
      Return (8 + Local0 + (Local0 & 1))
    }
    // Sets the value Arg2 of the setting named Arg1, if it is in the package Arg0.
    Method (SETV, 3) {
      For (Local0 = 0, Local0 < SizeOf (Arg0), Local0++) {
        If (DerefOf (DerefOf (Arg0 [Local0]) [0]) == Arg1) {
          DerefOf (Arg0 [Local0]) [4] = Arg2
          Return (One)
        }
      }
      Return (Zero)
    }
    // Method 4 sets a value. 0: done; 2: there is none such; 3: wrong password; 4: no such method.
    Method (WMBE, 3) {
      If (Arg1 != 4) { Return (4) }
      Local0 = OPEN (Arg2)
      If (Local0 == 0) { Return (3) }
      Local1 = TEXT (Arg2, Local0)
      Local2 = TEXT (Arg2, Local0 + 2 + 2 * SizeOf (Local1))
      If (Local1 == "Deaf") { Return (0) }
      If (SETV (CHOI, Local1, Local2) || SETV (TXTS, Local1, Local2)) { Return (0) }
      If (SETV (NUMB, Local1, ToInteger (Local2))) { Return (0) }
      Return (2)
    }
    // Sets a password: kind, old and new one.
    Method (WMBF, 3) {
      Local0 = OPEN (Arg2)
      If (Local0 == 0) { Return (3) }
      Local0 += 2 + 2 * SizeOf (TEXT (Arg2, Local0))
      Local0 += 2 + 2 * SizeOf (TEXT (Arg2, Local0))
      PASS = TEXT (Arg2, Local0)
      Return (0)
    }
  }
}
