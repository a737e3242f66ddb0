// Firmware settings as the kernel's think-lmi expects them of WMI: texts with commas in between. A value is
// taken when it is among the choices, and kept until the machine resets; so is the password. Each wrong
// password is a "!" on the debug port.
DefinitionBlock ("", "SSDT", 2, "SVREST", "SETUP1", 1)
{
  Device (\_SB.SET1)
  {
    Name (_HID, "PNP0C14")
    Name (_UID, "1")
    OperationRegion (PORT, SystemIO, 0xE9, 1)
    Field (PORT, ByteAcc, NoLock, Preserve) { TELL, 8 }
    // name, value, choices
    Name (ITEM, Package () {
      Package () { "WakeOnLAN", "Enable", "Disable,Enable" },
      Package () { "BootMode", "Quick", "Quick,Diagnostics" },
      Package () { "USBPortAccess", "Enable", "Disable,Enable" },
      // locked: nobody may change it
      Package () { "LockedPort", "Enable", "Disable,Enable" }
    })
    Name (PASS, "")

    // GUID, object, instances, flags (2: method, 4: text)
    Method (_WDG) {
      Local0 = Concatenate (ToUUID ("51F5230E-9677-46CD-A1CF-C0B23EE34DB7"), Buffer () {0x41, 0x41, 4, 4})
      Local1 = Concatenate (ToUUID ("98479A64-33F5-4E33-A707-8E251EBBC3A1"), Buffer () {0x41, 0x42, 1, 6})
      Local2 = Concatenate (ToUUID ("6A4B54EF-A5ED-4D33-9455-B0D9B48DF4B3"), Buffer () {0x41, 0x43, 1, 6})
      Local3 = Concatenate (ToUUID ("7364651A-132F-4FE7-ADAA-40C6C7EE2E3B"), Buffer () {0x41, 0x44, 1, 6})
      Local4 = Concatenate (ToUUID ("8ADB159E-1E32-455C-BC93-308A7ED98246"), Buffer () {0x41, 0x45, 1, 0})
      Local5 = Concatenate (ToUUID ("2651D9FD-911C-4B69-B94E-D0DED5963BD7"), Buffer () {0x41, 0x46, 1, 6})
      Return (Concatenate (Concatenate (Concatenate (Local0, Local1), Concatenate (Local2, Local3)),
                           Concatenate (Local4, Local5)))
    }

    // The part number Arg1 of the text Arg0, each of which ends in "," or ";".
    Method (PART, 2) {
      Local0 = ToBuffer (Arg0)
      Local1 = 0
      Local2 = 0
      For (Local3 = 0, Local3 < SizeOf (Arg0), Local3++) {
        Local4 = DerefOf (Local0 [Local3])
        If (Local4 == 0x2C || Local4 == 0x3B) {
          If (Local1 == Arg1) { Return (Mid (Arg0, Local2, Local3 - Local2)) }
          Local1++
          Local2 = Local3 + 1
        }
      }
      Return ("")
    }
    // True when Arg0 is the password, or none is set.
    Method (MAY, 1) {
      If (PASS == "" || PASS == Arg0) { Return (One) }
      If (SizeOf (Arg0) > 0) { TELL = 0x21 }
      Return (Zero)
    }
    // The setting with the name Arg0.
    Method (FIND, 1) {
      For (Local0 = 0, Local0 < SizeOf (ITEM), Local0++) {
        If (DerefOf (DerefOf (ITEM [Local0]) [0]) == Arg0) { Return (Local0) }
      }
      Return (Ones)
    }

    // The setting number Arg0 as "name,value".
    Method (WQAA, 1) {
      Local0 = DerefOf (ITEM [Arg0])
      Return (Concatenate (Concatenate (DerefOf (Local0 [0]), ","), DerefOf (Local0 [1])))
    }
    // Sets "name,value[,password,encoding,keyboard];".
    Method (WMAB, 3) {
      Local0 = ToString (Arg2)
      Local1 = FIND (PART (Local0, 0))
      If (Local1 == Ones) { Return ("Invalid Parameter") }
      If (!MAY (PART (Local0, 2))) { Return ("Access Denied") }
      If (PART (Local0, 0) == "LockedPort") { Return ("Access Denied") }
      Local2 = Concatenate (DerefOf (DerefOf (ITEM [Local1]) [2]), ",")
      For (Local3 = 0, Local3 < 8, Local3++) {
        If (PART (Local2, Local3) == PART (Local0, 1)) {
          DerefOf (ITEM [Local1]) [1] = PART (Local0, 1)
          Return ("Success")
        }
      }
      Return ("Invalid Parameter")
    }
    // Saves what was set: "[password,encoding,keyboard];".
    Method (WMAC, 3) {
      If (MAY (PART (ToString (Arg2), 0))) { Return ("Success") }
      Return ("Access Denied")
    }
    // The choices of the setting "name".
    Method (WMAD, 3) { Return (DerefOf (DerefOf (ITEM [FIND (ToString (Arg2))]) [2])) }
    // Passwords: mode, state (2: an administrator's), shortest, longest, encodings, keyboards.
    Method (WQAE, 1) {
      Local0 = Buffer () {0,0,0,0, 0,0,0,0, 4,0,0,0, 16,0,0,0, 1,0,0,0, 1,0,0,0}
      If (PASS != "") { Local0 [4] = 2 }
      Return (Local0)
    }
    // Sets a password: "kind,old,new,encoding,keyboard;". What is done is called once more by the driver.
    Method (WMAF, 3) {
      Local0 = ToString (Arg2)
      If (PASS == PART (Local0, 2)) { Return ("Success") }
      If (!MAY (PART (Local0, 1))) { Return ("Access Denied") }
      PASS = PART (Local0, 2)
      Return ("Success")
    }
  }
}
