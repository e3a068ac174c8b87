/// \file
/// Logs in text form: every kind of line of each format, and dates. Lines and values of the TRC versions are
/// those of the examples in PEAK CAN TRC File Format.
#include "support/FrameListing.h"

#include <gtest/gtest.h>

namespace rksignal {
namespace {

struct Log {
    const char* name;
    std::string content, expected;
};

void expectListed(std::initializer_list<Log> logs) {
    for (const auto& [name, content, expected] : logs) {
        EXPECT_EQ(listFrames(content), expected) << name;
    }
}

TEST(TextLog, Asc) {
    const std::string head = "date Thu Jan 1 00:00:00 1970\nbase hex  timestamps absolute\n";
    expectListed({
        {"classic frames, with length codes above 8",
         head + "0.1 1  1FFFFFFFx Rx   d 2 0a ff  Length = 273910 BitCount = 141 ID = 1\n0.2 2 7FF Tx d f 1 "
                "2 3 4 5 6 7 8\n"
                "0.3 1 800 Rx d 0\n0.4 1 7 Rx d 2 01\n",
         "100000000 can 1 1FFFFFFF - 0AFF\n200000000 can 2 7FF - 0102030405060708\n"
         "t:5: not a classic CAN frame\nt:6: fewer data bytes than announced\n"},
        {"CAN FD lines, with and without a name, and a classic frame among them",
         head +
             "0.1 CANFD 1 Rx 7d BrakeSnData_4 1 0 9 12 1 2 3 4 5 6 7 8 9 a b c 104812 132 323000 a800f6c9\n"
             "0.2 CANFD 2 Tx 1C4D80A7x 0 1 2 2 aa bb\n0.3 CANFD 2 Rx 300 0 0 1 1 11 102203 133 200000 0\n"
             "0.4 CANFD 3 Tx 50005x 0 1 5 0 140000 73 200050 7a60\n0.5 CANFD 5 Tx ErrorFrame Not Acknowledge "
             "error\n",
         "100000000 can 1 07D fd 0102030405060708090A0B0C\n200000000 can 2 1C4D80A7 fd AABB\n"
         "300000000 can 2 300 - 11\n400000000 - - - remote -\n500000000 - - - error -\n"},
        {"events that carry no values",
         head +
             "//without a blank\n0.0 Start of measurement\n0.1 1 200 Rx r 8\n0.2 1 ErrorFrame ECC: 10100010\n"
             "0.3 1  Statistic: D 0 R 0 XD 0 XR 0 E 0 O 0 B 0.00%\n0.4 CAN 1 Status:chip status error "
             "active\n",
         "100000000 - - - remote -\n200000000 - - - error -\n300000000 - - - other -\n"
         "400000000 - - - other -\n"},
        {"LIN: a wake-up frame is no error, a short one is malformed",
         head + "0.1 Li 3c Tx 2 01 02 checksum = ab CSM = enhanced\n0.2 L2 WakeupFrame 0 1\n"
                "0.3 L2 3c CSErr Rx 1 01\n0.4 L3 SyncErr\n0.5 Li 3c Rx 2 07\n",
         "100000000 lin 1 3C - 0102\n200000000 - - - other -\n300000000 - - - error -\n"
         "400000000 - - - error -\nt:7: fewer data bytes than announced\n"},
        {"FlexRay frames of channel A and B, and a null frame",
         head + "0.1 Fr RMSG 0 12 1 1 d2 1d Tx 0 304802 5 20 440 x 2 2 02 df 0 0 0\n"
                "0.2 Fr RMSG 0 12 1 2 d2 1d Rx 0 304802 5 20 440 x 2 2 02 df 0 0 0\n"
                "0.3 Fr RMSG 0 12 1 2 d2 1d Rx 0 304801 5 20 440 x 2 2 02 df 0 0 0\n0.4 Fr SCE 0\n",
         "100000000 flexray 1 210.29 - 02DF\n200000000 flexray 2 210.29 - 02DF\n300000000 - - - other -\n"
         "400000000 - - - other -\n"},
        {"decimal, with relative times",
         "base dec timestamps relative\n0.5 1 100 Rx d 2 10 255\n0.5 1 100x Rx d 8 1 2 3 4 5 6 7 8\n",
         "500000000 can 1 064 - 0AFF\n1000000000 can 1 00000064 - 0102030405060708\n"
         "t: the log has no date: its times count from 1970-01-01\n"},
    });
}

TEST(TextLog, DatesOfAsc) {
    const std::pair<const char*, const char*> rows[] = {
        {"Wed, 08 Nov 2023 21:17:01 GMT", "1699478221000000"},
        {"Sun May 26 19:15:02 UTC 2019", "1558898102000000"},
        {"07.10.2021", "1633564800000000"},
        {"07.10.2021 12:30:00,25", "1633609800250000"},
        {"Die M\xC3\xA4r 3 12:00:00.001 am 2020", "1583193600001000"},
        {"Die M\xE4r 3 01:00:00 PM 2020", "1583240400000000"},
        {"Don Okt 7 12:30:00 2021", "1633609800000000"},
        {"Mit Mai 5 00:00:00 2021", "1620172800000000"},
        {"Mon Dez 27 10:00:00.125 2021", "1640599200125000"},
        {"2021-10-07 12:30:00", "1633609800000000"},
    };
    for (const auto& [date, microseconds] : rows) {
        EXPECT_EQ(listFrames("date " + std::string(date) + "\n0 1 1 Rx d 0\n"),
                  microseconds + std::string("000 can 1 001 - -\n"))
            << date;
    }
}

TEST(TextLog, TrcVersions) {
    expectListed({
        {"1.0",
         ";####\n;    Start time: 11.09.2002 16:00:20.682.5\n     1)      1841      0001 8 00 00 00 00 00 00 "
         "00 07\n"
         "     2)      1842      0008 4 ERROR 00 19 08 08\n"
         "     3)      1843 FFFFFFFF 4 00 00 00 04 -- -- -- -- BUSLIGHT\n     4)      1844      0100 3 RTR\n",
         "1031760022523500000 can 1 001 - 0000000000000007\n1031760022524500000 - - - error -\n"
         "1031760022525500000 - - - other -\n1031760022526500000 - - - remote -\n"},
        {"1.1",
         ";$FILEVERSION=1.1\n;$STARTTIME=37704.5364870833\n      1)     1059.9 Rx          0300 7 00 00 00 "
         "00 04 00 00\n"
         "      5)     1346.8 Warng FFFFFFFF 4 00 00 00 04 BUSLIGHT\n      6)     1349.2 Error       0008 4 "
         "00 19 08 08\n"
         "      7)     1352.7 Rx          0100 3 RTR\n",
         "1048510353543897000 can 1 300 - 00000000040000\n1048510353830797000 - - - other -\n"
         "1048510353833197000 - - - error -\n1048510353836697000 - - - remote -\n"},
        {"1.2 with buses, and no date",
         ";$FILEVERSION=1.2\n      1)     1059.900 1 Rx           0300 1 07\n      7)     1352.743 2 Tx      "
         " 00000100 1 08\n",
         "1059900000 can 1 300 - 07\n1352743000 can 2 00000100 - 08\n"
         "t: the log has no date: its times count from 1970-01-01\n"},
        {"1.3",
         ";$FILEVERSION=1.3\n;$STARTTIME=25570\n     1)      1059.900 1 Rx         0300 - 1      07\n"
         "     7)      1352.743 1 Rx         0100 - 3      RTR\n",
         "86401059900000 can 1 300 - 07\n86401352743000 - - - remote -\n"},
        {"2.0: lengths in bytes",
         ";$FILEVERSION=2.0\n;$STARTTIME=25570\n;$COLUMNS=N,O,T,I,d,l,D\n"
         "      5      1334.416 FB      0500 Tx 12 01 02 03 04 05 06 07 08 09 0A 0B 0C\n"
         "      6      1334.522 ER           Rx    04 00 02 00 00\n      7      1334.531 ST           Rx    "
         "00 00 00 08\n"
         "     10      1336.543 RR      0100 Rx 3\n",
         "86401334416000 can 1 500 fd 0102030405060708090A0B0C\n86401334522000 - - - error -\n"
         "86401334531000 - - - other -\n86401336543000 - - - remote -\n"},
        {"2.1: length codes, or lengths if the number of bytes says so",
         ";$FILEVERSION=2.1\n;$STARTTIME=25570\n;$COLUMNS=N,O,T,B,I,d,R,L,D\n"
         "       5      1334.416 BI 1       0500 Tx - 9     01 02 03 04 05 06 07 08 09 0A 0B 0C\n"
         "       6      1334.416 FD 2   00000500 Tx - 12    01 02 03 04 05 06 07 08 09 0A 0B 0C\n"
         "       7      1334.224 EV 1 User-defined event for bus 1\n       8      1334.225 EV - User-defined "
         "event\n"
         "      12      1335.156 DT 1 18EFC034 Tx - 15      01 02 03 04 05 06 07 08\n"
         "      13      1336.543 DT 1       0100 Rx - 3     01 02\n",
         "86401334416000 can 1 500 fd 0102030405060708090A0B0C\n"
         "86401334416000 can 2 00000500 fd 0102030405060708090A0B0C\n86401334224000 - - - other -\n"
         "86401334225000 - - - other -\n86401335156000 can 1 18EFC034 - 0102030405060708\n"
         "t:9: fewer data bytes than announced\n"},
    });
}

TEST(TextLog, GvretAndBusmaster) {
    const std::string noDate = "t: the log has no date: its times count from 1970-01-01";
    const std::string busmaster = "***BUSMASTER Ver 2.4.0***\n***PROTOCOL CAN***\n"
                                  "***START DATE AND TIME 2:1:1970 23:59:58:7***\n";
    expectListed({
        {"GVRET without the direction, behind a byte order mark",
         "\xEF\xBB\xBFTime Stamp,ID,Extended,Bus,LEN,D1,D2,D3,D4,D5,D6,D7,D8\n"
         "166064000,0000021A,false,1,2,FE,36,00,00,00,00,00,00,\n",
         "166064000000 can 1 21A - FE36\n" + noDate + "\n"},
        {"GVRET with it, CAN FD, and a clock that was set back",
         "Time Stamp,ID,Extended,Dir,Bus,LEN,D1,D2\r\n5,0000021A,true,Rx,0,9,1,2,3,4,5,6,7,8,9\r\n"
         "-7,00000111,false,Rx,0,0,\r\n8,111,false,Rx,0,2,05\r\n",
         "5000 can 0 0000021A fd 010203040506070809\n0 can 0 111 - -\n"
         "t:4: fewer data bytes than announced\n" +
             noDate + ", negative ones count as that\n"},
        {"BUSMASTER with times of the day, past midnight",
         busmaster + "***HEX***\n***SYSTEM MODE***\n23:59:59:9420 Rx 1 0x023 s 1 40\n0:0:0:12 Tx 2 0000021A "
                     "x 2 01 02\n"
                     "00:00:00:0130 Rx 1 0x023 sr 1\n",
         "172799942000000 can 1 023 - 40\n172800012000000 can 2 0000021A - 0102\n"
         "172800013000000 - - - remote -\n"},
        {"BUSMASTER in decimal, with times since the start, then since the line before",
         busmaster + "***DEC***\n***ABSOLUTE MODE***\n00:00:01:0000 Rx 1 100 s 1 64\n***RELATIVE MODE***\n"
                     "00:00:01:0000 Rx 1 100 s 1 65\n00:00:01:0000 Rx 1 100 s 1 66\n",
         "172799007000000 can 1 064 - 40\n172800007000000 can 1 064 - 41\n172801007000000 can 1 064 - 42\n"},
        {"BUSMASTER of another bus", "***BUSMASTER Ver 2.4.0***\n***PROTOCOL LIN***\n1:2:3:4 Rx 1 0x1 1 2\n",
         "t:3: BUSMASTER log of a protocol other than CAN\n"},
    });
}

TEST(TextLog, WhatCandumpShows) {
    expectListed({
        {"without times", "  can0  123   [2]  11 22\n",
         "0 can 0 123 - 1122\nt: there are no times: all messages are of 1970-01-01 00:00:00\n"},
        {"-ta -x -a",
         " (1626905042.645596)  can1  RX B -  0CF00400  [09]  01 02 03 04 05 06 07 08 09   '.........'\n",
         "1626905042645596000 can 1 0CF00400 fd 010203040506070809\n"},
        {"-tA -e",
         " (2021-07-21 22:04:02.645596)  can1  20000004   [8]  00 04 00 00 00 00 00 00   ERRORFRAME\n"
         "\tcontroller-problem{rx-overflow}\n",
         "1626905042645596000 - - - error -\n"},
        {"-tz, bytes in binary and swapped",
         " (000.000000)  can0  7FF   [2]  00000001 10000000\n (000.000500)  can0  123   [4]  remote request\n"
         " (010.000000)  can0  7FF   [3]  03`02`01\n (011.000000)  can0  7FF   [2]  03\n",
         "0 can 0 7FF - 0180\n500000 - - - remote -\n10000000000 can 0 7FF - 010203\n"
         "t:4: fewer data bytes than announced\nt: the times have no date: they count from 1970-01-01\n"},
        {"-td",
         " (000.000000)  can0  1   [0] \n (000.300000)  can0  001   [0] \n (000.200000)  can0  001   [0] \n",
         "0 can 0 001 - -\n300000000 can 0 001 - -\n500000000 can 0 001 - -\n"
         "t: the times have no date: they count from the line before, and the first from 1970-01-01\n"},
    });
}

} // namespace
} // namespace rksignal
