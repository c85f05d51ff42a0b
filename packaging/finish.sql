-- What wixl has no element for. One statement a line; each is run on the database that wixl wrote.

-- The provider carries a version: it is newer or older by that, not by a hash. Without it Windows would never replace
-- an installed DLL.
UPDATE `File` SET `Version` = '@FILE_VERSION@', `Language` = '1033' WHERE `File` = 'Provider'
DELETE FROM `MsiFileHash` WHERE `File_` = 'Provider'

-- Names that are longer than 8.3 come with a short one.
UPDATE `File` SET `FileName` = 'VEXAFPCP.DLL|VexaFPCredentialProvider.dll' WHERE `File` = 'Provider'
UPDATE `Directory` SET `DefaultDir` = 'FINGERPR|FingerPrint' WHERE `Directory` = 'INSTALLFOLDER'
UPDATE `Directory` SET `DefaultDir` = 'FINGERPR|FingerPrint' WHERE `Directory` = 'SettingsFolder'


-- Empty parents go too, after the folders in them: what is listed as created is removed once it is empty.
INSERT INTO `CreateFolder` (`Directory_`, `Component_`) VALUES ('CompanyFolder', 'Provider')
INSERT INTO `CreateFolder` (`Directory_`, `Component_`) VALUES ('PublicCompanyFolder', 'LockCount')

-- Properties that an administrator may pass also where the installation is elevated on a user's behalf.
UPDATE `Property` SET `Value` = 'ENABLE;LOCKCOUNT;WIX_DOWNGRADE_DETECTED;WIX_UPGRADE_DETECTED' WHERE `Property` = 'SecureCustomProperties'

-- A switch that somebody else has set is nobody's to remove, unless this installation was told to set it, or an
-- earlier version of it had. A limit is written only when one is asked for, and kept track of from then on.
UPDATE `Component` SET `Condition` = 'EnableGiven OR ENABLEKEPT OR NOT ENABLEFOUND' WHERE `Component` = 'Enable'
UPDATE `Component` SET `Condition` = 'LOCKCOUNT' WHERE `Component` = 'LockCount'

CREATE TABLE `IniFile` (`IniFile` CHAR(72) NOT NULL, `FileName` CHAR(255) NOT NULL LOCALIZABLE, `DirProperty` CHAR(72), `Section` CHAR(96) NOT NULL LOCALIZABLE, `Key` CHAR(128) NOT NULL LOCALIZABLE, `Value` CHAR(255) NOT NULL LOCALIZABLE, `Action` SHORT NOT NULL, `Component_` CHAR(72) NOT NULL PRIMARY KEY `IniFile`)
INSERT INTO `IniFile` (`IniFile`, `FileName`, `DirProperty`, `Section`, `Key`, `Value`, `Action`, `Component_`) VALUES ('LockEnable', 'config.ini', 'SettingsFolder', 'Public', 'LockEnable', '[LockEnable]', 0, 'LockCount')
INSERT INTO `IniFile` (`IniFile`, `FileName`, `DirProperty`, `Section`, `Key`, `Value`, `Action`, `Component_`) VALUES ('LockCount', 'config.ini', 'SettingsFolder', 'Public', 'LockCount', '[LOCKCOUNT]', 0, 'LockCount')

-- Within the transaction: should the new version fail, the old one comes back.
UPDATE `InstallExecuteSequence` SET `Sequence` = 1501 WHERE `Action` = 'RemoveExistingProducts'

-- There is no dialogue: everything is found out once, where the installation is carried out.
DELETE FROM `InstallUISequence` WHERE `Action` = 'FindRelatedProducts'
DELETE FROM `InstallUISequence` WHERE `Action` = 'AppSearch'
DELETE FROM `InstallUISequence` WHERE `Action` = 'LaunchConditions'

-- The switch: what was asked for, else what is set (0 is off, anything else on), else what an earlier installation
-- set, else on.
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('NoteEnableGiven', 'ENABLE', 110)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('KeepDisabled', 'NOT ENABLE AND ENABLEFOUND = "#0"', 111)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('KeepEnabled', 'NOT ENABLE AND ENABLEFOUND', 112)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('KeepEnableChosen', 'NOT ENABLE AND ENABLEKEPT', 113)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('EnableByDefault', 'NOT ENABLE', 114)

-- config.ini belongs to the settings program once it is there. It is written when LOCKCOUNT is given; otherwise a newer
-- version takes it over as it is. Windows tells the old version that it is being replaced; where that is missing, what
-- the file says is found beforehand and written again.
CREATE TABLE `IniLocator` (`Signature_` CHAR(72) NOT NULL, `FileName` CHAR(255) NOT NULL, `Section` CHAR(96) NOT NULL, `Key` CHAR(128) NOT NULL, `Field` SHORT, `Type` SHORT PRIMARY KEY `Signature_`)
INSERT INTO `IniLocator` (`Signature_`, `FileName`, `Section`, `Key`, `Field`, `Type`) VALUES ('LockEnableFound', 'C:\Users\Public\VEXA\FingerPrint\config.ini', 'Public', 'LockEnable', 0, 2)
INSERT INTO `IniLocator` (`Signature_`, `FileName`, `Section`, `Key`, `Field`, `Type`) VALUES ('LockCountFound', 'C:\Users\Public\VEXA\FingerPrint\config.ini', 'Public', 'LockCount', 0, 2)
INSERT INTO `AppSearch` (`Property`, `Signature_`) VALUES ('LOCKENABLEFOUND', 'LockEnableFound')
INSERT INTO `AppSearch` (`Property`, `Signature_`) VALUES ('LOCKCOUNTFOUND', 'LockCountFound')
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('NoteLockCountGiven', 'LOCKCOUNT', 120)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('UseLockCountGiven', 'LOCKCOUNT', 121)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('KeepLockEnable', 'NOT LOCKCOUNT AND LOCKENABLEFOUND', 122)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('KeepLockCount', 'NOT LOCKCOUNT AND LOCKCOUNTKEPT AND LOCKCOUNTFOUND', 123)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('KeepLockCountChosen', 'NOT LOCKCOUNT AND LOCKCOUNTKEPT', 124)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('RemoveIniValues', 'NOT UPGRADINGPRODUCTCODE', 3100)
INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ('WriteIniValues', 'LockCountGiven OR (LOCKENABLEFOUND AND LOCKCOUNTFOUND)', 5100)
