/*
 * test_number_float.cpp - the floating-point digit generator Float2Str_Core
 * and the formatters TFloat2Str, KivFloat2StrEx and KivFloat2Str, narrow and
 * wide.
 *
 * The digit generator follows the classic ecvt/fcvt method, whose digits are
 * not always the exactly rounded ones (1e308 to 17 digits gives
 * "10000000000000007").  Its expected results below were worked out with an
 * independent model of that method in another language, running the same
 * IEEE double operations (modf, division and multiplication by 10).
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <string>

#include "kiv_number_checks.h"

namespace {

/* ---- Float2Str_Core ---- */

const unsigned char kGuardByte = 0xA5;

void expectCore(double value, int digits, int significant, const std::string &text, int point, int negative)
{
  SCOPED_TRACE("value " + std::to_string(value) + " digits " + std::to_string(digits) + " significant " +
               std::to_string(significant));
  char buf[KIV_FLOAT_CORE_BUFFER + 16];
  std::memset(buf, kGuardByte, sizeof buf);
  int p = -12345;
  int n = -12345;
  char *r = Float2Str_Core(value, buf, digits, &p, &n, significant);
  EXPECT_EQ(buf, r);
  ASSERT_LT(std::strlen(buf), (size_t)KIV_FLOAT_CORE_BUFFER);
  EXPECT_EQ(text, std::string(buf));
  EXPECT_EQ(point, p);
  EXPECT_EQ(negative, n);
  for (size_t i = KIV_FLOAT_CORE_BUFFER; i < sizeof buf; i++)
    ASSERT_EQ((char)kGuardByte, buf[i]) << "byte " << i << " written";
}

struct CoreCase
{
  double value;
  int digits;
  int significant;
  const char *text;
  int point;
  int negative;
};

/* Random values of every magnitude, both forms, 0 to 25 and negative
 * counts. */
const CoreCase kCoreTable[] = {
  {0x1.5d51eb851eb85p+7, 8, 0, "17466000000", 3, 0},
  {0x1.8b16ddc5c417cp-4, 2, 0, "10", 0, 0},
  {0x1.666200cba91e5p+108, 3, 0, "454304202765267300000000000000000000", 33, 0},
  {0x1.6d056f2b372d7p-23, 3, 0, "", -6, 0},
  {0x1.979be9af6d785p+131, 0, 1, "", 40, 0},
  {-0x1.c2fd8b36b7e2ap-1, 8, 1, "88084064", 0, 1},
  {0x1.a0d1e5ec7acbbp+59, 3, 0, "938595006054555000000", 18, 0},
  {0x1.68064955a8ef1p+531, 12, 1, "988598293213", 160, 0},
  {0x1.1c2d4d33fd7f9p+64, -2, 1, "", 20, 0},
  {0x1.48e16b25d644ep-664, 1, 1, "2", -199, 0},
  {-0x1.e1fae1b516e09p+1, 8, 1, "37654688", 1, 1},
  {-0x1.6a57dd9584648p+29, 12, 0, "759888818689644813538", 9, 1},
  {-0x1.12b4f815b9486p+833, 3, 1, "615", 251, 1},
  {-0x1.90e147ae147aep+6, 3, 1, "100", 3, 1},
  {0x1.54bc3bdc2f15cp-982, 2, 0, "", -295, 0},
  {0x1.196ab7b568834p+518, 15, 0, "943295820791386400000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 156, 0},
  {0x1.5aa901e01f10fp-21, 0, 1, "", -5, 0},
  {0x1.7986c7dfde874p-905, -1, 0, "", -272, 0},
  {-0x1.03ed0fe3d79acp+6, 12, 0, "64981505928072", 2, 1},
  {0x1.b24c3c9eecbfbp+7, 5, 0, "21714890", 3, 0},
  {-0x1.10b9374bc6a7fp+8, 17, 0, "27272350000000000136", 3, 1},
  {0x1.0a655ddf3d14ep-143, 17, 0, "", -43, 0},
  {0x1.8cd59097dd67bp+1, 12, 1, "310026748100", 1, 0},
  {0x1.a5b81d7dbf488p+6, 0, 0, "105", 3, 0},
  {0x1.1db222da2fee8p-228, 8, 0, "", -68, 0},
  {0x1.71509b14c2934p+42, 20, 0, "634478109159430078125000000000000", 13, 0},
  {0x1.3fece077f8726p+52, 25, 1, "5628185400018726000000000", 16, 0},
  {0x1.3bb88c24e8f1cp-819, 3, 1, "353", -246, 0},
  {-0x1.e1715aff51807p-191, 17, 0, "", -57, 1},
  {-0x1.5780000000000p+9, 12, 1, "687000000000", 3, 1},
  {-0x1.05011b6478512p-471, 2, 1, "17", -141, 1},
  {0x1.bc50000000000p+9, 25, 0, "8886250000000000000000000000", 3, 0},
  {-0x1.01901cf27f7f5p+373, 1, 1, "2", 113, 1},
  {0x1.8800000000000p+8, 5, 0, "39200000", 3, 0},
  {0x1.f28cc63f14120p+8, 12, 1, "498549900000", 3, 0},
  {0x1.30b7cfe40e94ep+62, 3, 0, "5489311771668069000000", 19, 0},
  {-0x1.6fb4d59379973p+26, 3, 0, "96392022304", 8, 1},
  {-0x1.c0d47ae147ae1p+8, 2, 0, "44883", 3, 1},
  {0x1.27f809671bf99p+59, -2, 0, "6664626991833939", 18, 0},
  {-0x1.60cff62b6ae7dp+9, 1, 1, "7", 3, 1},
  {0x1.9e00000000000p+7, 12, 0, "207000000000000", 3, 0},
  {0x1.8684a57baec2ap-2, 8, 1, "38136538", 0, 0},
  {-0x1.85931d928d43bp+49, 3, 1, "857", 15, 1},
  {0x1.344e18de85dc0p-8, 17, 1, "47043619838613164", -2, 0},
  {0x1.0b61185736455p-868, 25, 0, "", -261, 0},
  {-0x1.9112d0e560419p+9, 0, 1, "", 4, 1},
  {-0x1.0b4876850abfdp-17, -1, 1, "", -5, 1},
  {0x1.59ed37422d921p-21, 12, 1, "644338548980", -6, 0},
  {0x1.8a8ad0e560419p+9, 0, 0, "789", 3, 0},
  {-0x1.4b2ef3e9f557fp+563, 2, 1, "39", 170, 1},
  {-0x1.4e63726522740p+56, 0, 0, "94121985195537400", 17, 1},
  {-0x1.c308192085a69p+8, -1, 0, "45", 3, 1},
  {0x1.e8977ad8af72cp-35, 0, 0, "", -10, 0},
  {0x1.d81999999999ap+8, 1, 0, "4721", 3, 0},
  {-0x1.8a5c32e685268p+25, 20, 0, "5168957380093842744827270508", 8, 1},
  {0x1.3567694467382p+9, 2, 0, "61881", 3, 0},
  {0x1.264da2012e4adp+660, -2, 1, "", 199, 0},
  {-0x1.ec2ca7ced20c5p+530, 5, 1, "67574", 160, 1},
  {0x1.6bbea9685a7ebp-34, 5, 1, "82706", -10, 0},
  {0x1.f6d594df84aa6p+65, 15, 1, "724660601296071", 20, 0},
  {0x1.36d6fade5184ap-1002, 20, 1, "28329633230189150694", -301, 0},
  {-0x1.ce469a3d19b8ep+12, -1, 1, "", 4, 1},
  {-0x1.7c47e006f9689p-21, 25, 1, "7083281169355805317877639", -6, 1},
  {-0x1.d6eeddb60763ep-12, 5, 1, "44912", -3, 1},
  {0x1.4a247c671d4b7p+297, 2, 1, "33", 90, 0},
  {0x1.966e80ebbbe9dp-971, 3, 0, "", -292, 0},
  {-0x1.0c51f32798488p-682, 3, 0, "", -205, 1},
  {0x1.bf75182a9930cp+7, 20, 0, "22372870000000000345608", 3, 0},
  {0x1.572dd62e1ca57p-951, 12, 0, "", -286, 0},
  {0x1.2500000000000p+8, 20, 1, "29300000000000000000", 3, 0},
  {0x1.9757be2762e91p+743, 0, 1, "", 225, 0},
  {0x1.1a00000000000p+9, 17, 1, "56400000000000000", 3, 0},
  {-0x1.7d9eb851eb852p+8, -1, 1, "", 3, 1},
  {-0x1.9338d66e811ffp-1, 20, 0, "78754301165514553063", 0, 1},
  {0x1.3b92809646887p-106, 5, 1, "15194", -31, 0},
  {-0x1.bb006379a0532p+62, 25, 1, "7980405883208517000000000", 19, 1},
  {-0x1.85c48a54cd194p-22, 3, 0, "", -6, 1},
  {0x1.2fbd60f67a76bp+6, -2, 1, "", 2, 0},
  {0x1.09f14ea62ca27p+62, 5, 1, "47908", 19, 0},
  {0x1.628ac083126e9p+9, 0, 1, "", 4, 0},
  {0x1.f9475f44451e8p-1, 17, 0, "98687265118001921", 0, 0},
  {0x1.a8f8dabf4c2e4p-1, 3, 1, "830", 0, 0},
  {0x1.0f689f69ba88cp+734, 3, 0, "95807738468956700000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 221, 0},
  {0x1.189f452b17926p-865, 20, 1, "44559030366746883445", -260, 0},
  {0x1.e9567b0146860p+45, 5, 0, "6725407710638475000", 14, 0},
  {0x1.40de929c60400p+314, 20, 0, "4183184394393389000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 95, 0},
  {0x1.8f0cccccccccdp+8, -1, 0, "40", 3, 0},
  {0x1.f67e16b52a6e4p+5, 20, 0, "6281156674895990477125", 2, 0},
  {0x1.d940000000000p+9, 3, 0, "946500", 3, 0},
  {0x1.1593fdb188285p+527, 15, 1, "476379355349834", 159, 0},
  {0x1.cc62d3bdd317dp+35, 17, 0, "6179196875059665679931640625", 11, 0},
  {0x1.9d763c61a766cp-12, 15, 0, "394307955597", -3, 0},
  {0x1.31b94b4be91fdp+66, 3, 1, "881", 20, 0},
  {0x1.d000000000000p+4, 8, 1, "29000000", 2, 0},
  {-0x1.73f47ae147ae1p+8, 17, 1, "37195499999999998", 3, 1},
  {0x1.d839c0ebedfa4p+6, 17, 1, "11805640000000000", 3, 0},
  {-0x1.f83e4c7ba52eap+1011, 3, 0, "43224087560298280000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 305, 1},
  {0x1.0dab0d5cae076p+16, 3, 1, "690", 5, 0},
  {-0x1.161af474ca639p-34, 25, 0, "632338225399945", -10, 1},
  {0x1.196b27c55a80bp+35, 5, 1, "37771", 11, 0},
  {-0x1.794da7734ba50p+51, 20, 1, "33187952440353680000", 16, 1},
  {0x1.f91eb851eb852p+6, 8, 1, "12628000", 3, 0},
  {-0x1.48f8b46a1b29fp-28, 5, 0, "", -8, 1},
  {-0x1.608c7cbed7b93p-95, 8, 1, "34763994", -28, 1},
  {0x1.136718c64f168p+603, 0, 1, "", 182, 0},
  {-0x1.3a56e24e6d5c4p-4, 1, 1, "8", -1, 1},
  {0x1.267974791376ap+6, 15, 0, "73618608371556235", 2, 0},
  {0x1.6d54d28b9b2dcp+51, 2, 0, "321348843004555000", 16, 0},
  {0x1.b9df262ff73bfp+308, 2, 1, "90", 93, 0},
  {0x1.6241be36c6290p-26, -1, 0, "", -7, 0},
  {0x1.7ad1eb851eb85p+9, 8, 0, "75764000000", 3, 0},
  {0x1.0f01e2ea913edp+66, 20, 0, "7811255582536886000000000000000000000000", 20, 0},
  {0x1.68c6a207bfc4dp-13, 8, 1, "17203136", -3, 0},
  {0x1.c35607adfcb80p+55, 3, 1, "635", 17, 0},
  {-0x1.9d3d82043e1d7p-1001, 15, 0, "", -301, 1},
  {0x1.030193ad99b9cp+786, 15, 0, "411762430830054800000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 237, 0},
  {-0x1.07a93ab80ac7fp+55, 5, 0, "3710699426790706500000", 17, 1},
  {0x1.5d2b6836bc479p+39, 8, 1, "74983592", 12, 0},
  {-0x1.d6c993da39e16p-221, 2, 1, "55", -66, 1},
  {0x1.c0c54ef1985d7p+1021, 3, 1, "394", 308, 0},
  {0x1.79ab7d156e0e8p+16, 12, 0, "96683488608244457", 5, 0},
  {0x1.2488ab5b333c0p-30, 17, 1, "10642320000947849", -8, 0},
  {0x1.7bb9cbe1cebd5p-167, 2, 0, "", -50, 0},
  {-0x1.0d4cccccccccdp+9, 15, 1, "538600000000000", 3, 1},
  {-0x1.5d010e22657efp-426, -2, 1, "", -128, 1},
  {0x1.9696431b74b93p+19, 0, 0, "832690", 6, 0},
  {-0x1.46430181d9dcfp+39, 15, 0, "700641755372931518554687500", 12, 1},
  {0x1.3df4b030d73ebp-490, 5, 0, "", -147, 0},
  {0x1.63a51eb851eb8p+9, 1, 0, "7113", 3, 0},
  {-0x1.3847ae147ae14p+8, 15, 0, "312279999999999973", 3, 1},
  {0x1.d07184a2dc3eep-11, 1, 0, "", -3, 0},
  {0x1.71570266f2fd2p+14, 20, 1, "23637752345844935917", 5, 0},
  {0x1.40f2b39883e0dp+28, 17, 0, "33653842553219681978225708", 9, 0},
  {0x1.551d702745fc5p+56, 2, 0, "9601533459077436000", 17, 0},
  {0x1.8cec81d06c095p+190, 0, 0, "2433136156348310500000000000000000000000000000000000000000", 58, 0},
  {0x1.6293be199462dp+750, 15, 1, "820290137907253", 226, 0},
  {0x1.78f647e25e17bp+9, 15, 0, "753924068733161562", 3, 0},
  {0x1.1f652d9577ba4p-19, -1, 1, "", -5, 0},
  {0x1.3b1a1f7da3701p-17, 12, 0, "9390773", -5, 0},
  {-0x1.fbb9d148774b3p-35, 0, 0, "", -10, 1},
  {0x1.64a4feea4a71cp+19, 0, 0, "730408", 6, 0},
  {0x1.c207ef9db22d1p+7, 15, 0, "225015500000000003", 3, 0},
  {0x1.1d61d3dd12ffbp+6, 2, 1, "71", 2, 0},
  {0x1.157978d4fdf3bp+9, -2, 1, "", 3, 0},
  {0x1.f7f5bf6092010p+876, 15, 1, "991818630152847", 264, 0},
  {0x1.345afc7002dd2p-17, 25, 1, "9189707469678841889049181", -5, 0},
  {0x1.e409861b2c66bp+759, 5, 0, "573331080857435000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 229, 0},
  {-0x1.21753734900ebp+69, 12, 0, "667444414340192900000000000000000", 21, 1},
  {0x1.79d999999999ap+9, -2, 1, "", 3, 0},
  {-0x1.20c53ac3027c6p-39, 15, 0, "2052", -11, 1},
  {0x1.bb70dd28c36c5p+33, 12, 1, "148794066735", 11, 0},
  {-0x1.638ddb42d3c22p-35, 8, 1, "40421824", -10, 1},
  {0x1.218fefeacdcd9p-631, 5, 0, "", -189, 0},
  {0x1.0b09bc9d9472cp-35, -2, 0, "", -10, 0},
  {-0x1.7002882749653p-257, -1, 0, "", -77, 1},
  {0x1.59dddfcfd7f0ep+42, 0, 0, "5941944598368", 13, 0},
  {-0x1.8de353f7ced91p+7, 8, 1, "19894400", 3, 1},
  {-0x1.67f480e5dcd36p+3, 0, 0, "11", 2, 1},
  {0x1.3cb6db1071da3p-878, 17, 1, "61389131207081142", -264, 0},
  {0x1.02e28af020aeap-39, 2, 0, "", -11, 0},
  {-0x1.d1e1670571826p+1, 5, 1, "36397", 1, 1},
  {-0x1.2fee2efdb8e26p-876, 25, 0, "", -263, 1},
  {0x1.9e93333333333p+9, 1, 0, "8291", 3, 0},
  {-0x1.de4a9fbe76c8bp+9, 15, 1, "956583000000000", 3, 1},
  {-0x1.5d19a58a78ef5p+60, 12, 1, "157220745049", 19, 1},
  {-0x1.9be6666666666p+9, 17, 0, "82379999999999995453", 3, 1},
  {0x1.ef353f7ced917p+7, 0, 1, "", 3, 0},
  {0x1.d94f80401f122p+215, 2, 1, "97", 65, 0},
  {-0x1.371a289875a2dp-346, 25, 0, "", -104, 1},
  {0x1.6200fbfa0cb2ep-38, 3, 1, "503", -11, 0},
  {-0x1.699999999999ap+5, -1, 0, "5", 2, 1},
  {0x1.0c702d9acc2d0p+428, 15, 1, "726846143007040", 129, 0},
  {-0x1.137f62234aa5ap+63, 12, 1, "992584679309", 19, 1},
  {-0x1.132ab2cab765fp+11, 0, 0, "2201", 4, 1},
  {0x1.1ef4d90c93e5dp+468, 5, 0, "85430702297021090000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 141, 0},
  {-0x1.8046bf3f6bf65p+42, 5, 1, "66018", 13, 1},
  {-0x1.538818cb34cbap-22, 2, 0, "", -6, 1},
  {0x1.1d72e9bcc78bfp+513, 1, 0, "299003417509345400000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 155, 0},
  {0x1.b67f9a7e04858p+9, 8, 1, "87699690", 3, 0},
  {0x1.94dbe8ac3ac27p+51, -2, 1, "", 16, 0},
  {-0x1.d204b29322516p-18, 2, 1, "69", -5, 1},
  {0x1.429b1960807f0p-87, 3, 0, "", -26, 0},
  {0x1.b6645a1cac083p+8, 20, 0, "43839199999999999590727", 3, 0},
  {0x1.9259d47be1407p-19, -1, 0, "", -5, 0},
  {0x1.ec7e6dbbe61e7p-11, 2, 1, "94", -3, 0},
  {-0x1.65bc84b5dcc64p+8, 8, 1, "35773640", 3, 1},
  {0x1.13decf10bd86ep+26, 25, 0, "723177562615678012371063232421875", 8, 0},
  {-0x1.ccecacf830bdbp+998, 25, 0, "48230916439548620000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 301, 1},
  {0x1.dba0369b59e86p+12, 2, 0, "761001", 4, 0},
  {0x1.26e602e544233p-935, 1, 0, "", -281, 0},
  {-0x1.b8650705d8ca7p+55, 25, 0, "619800352949793700000000000000000000000000", 17, 1},
  {0x1.073916872b021p+8, 0, 1, "", 3, 0},
  {-0x1.0d2f18913f5f7p+53, 2, 1, "95", 16, 1},
  {-0x1.1900000000000p+8, -2, 1, "", 3, 1},
  {0x1.9a81e4f765fd9p+8, 20, 1, "41050740000000001828", 3, 0},
  {-0x1.6d322d0e56042p+7, 5, 0, "18259800", 3, 1},
  {0x1.6c5b835d99e09p-953, 15, 0, "", -286, 0},
  {0x1.22ae7b301f35ep-383, -2, 1, "", -115, 0},
  {0x1.5f5322f21f1edp-461, -2, 0, "", -138, 0},
  {0x1.1dee147ae147bp+9, -2, 0, "6", 3, 0},
  {0x1.6bdaaf874ce70p-81, -2, 1, "", -24, 0},
  {0x1.b13de9ba7730ep-38, 3, 1, "616", -11, 0},
  {0x1.93bd551f17e2fp-10, 12, 0, "1540144272", -2, 0},
  {0x1.a8a5b7e3771c1p-15, 25, 1, "5062190737323584599494097", -4, 0},
  {0x1.fa44b89c73d1dp+32, 25, 0, "84937750044524202346801757812500000", 10, 0},
  {0x1.67a3d70a3d70ap+8, 12, 0, "359640000000000", 3, 0},
  {0x1.0556dd95c2d4ep+28, 2, 0, "27403413736", 9, 0},
  {0x1.e2934f3ab09c1p+12, 2, 0, "772121", 4, 0},
  {-0x1.5ccc28f5c28f6p+9, 8, 0, "69759500000", 3, 1},
  {0x1.754aa65469877p+59, 15, 0, "840577956434426700000000000000000", 18, 0},
  {0x1.0c451eb851eb8p+8, 20, 1, "26826999999999998181", 3, 0},
  {0x1.f73e1d5365f7bp+909, 2, 0, "850753062054470700000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 274, 0},
  {0x1.5c6608a5faf91p+12, 8, 0, "557437711142", 4, 0},
  {0x1.9270d25945d48p+43, 2, 0, "1382775749278264", 14, 0},
  {-0x1.d45db4df2d02dp+45, 0, 0, "64371738535328", 14, 1},
  {-0x1.b6a8be9979fe8p+440, 2, 1, "49", 133, 1},
  {0x1.d6835d54ce731p+58, 17, 0, "52975070372808610000000000000000000", 18, 0},
  {-0x1.b146f27e819e0p-951, 5, 0, "", -286, 1},
  {-0x1.74513309e153fp+621, -1, 0, "1265611535051643200000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000", 188, 1},
  {0x1.1b3ab43ea26b2p-17, 3, 1, "844", -5, 0},
};

TEST(KivFloatCore, Table)
{
  for (const CoreCase &c : kCoreTable)
    expectCore(c.value, c.digits, c.significant, c.text, c.point, c.negative);
}

TEST(KivFloatCore, RoundingCarries)
{
  expectCore(9.995, 3, 1, "999", 1, 0); /* 9.995 is 9.99499999... in binary */
  expectCore(9.995, 2, 0, "999", 1, 0);
  expectCore(9.996, 3, 1, "100", 2, 0);
  expectCore(9.996, 2, 0, "1000", 2, 0); /* fcvt form: a digit is appended */
  expectCore(99.995, 2, 0, "10000", 3, 0);
  expectCore(99.5, 1, 1, "1", 3, 0);
  expectCore(999.5, 3, 1, "100", 4, 0);
  expectCore(0.9999999, 5, 0, "100000", 1, 0);
  expectCore(0.6, 0, 0, "1", 1, 0); /* carry out of the first digit at index 0 */
  expectCore(9.6, 0, 0, "10", 2, 0);
  expectCore(0.006, 2, 0, "1", -1, 0);
  expectCore(1234.5, 4, 1, "1235", 4, 0); /* halves round up */
  expectCore(0.125, 2, 0, "13", 0, 0);
  expectCore(2.5, 0, 0, "3", 1, 0);
  expectCore(-42.125, 2, 0, "4213", 2, 1);
}

TEST(KivFloatCore, ZeroAndSign)
{
  expectCore(0.0, 3, 1, "000", 0, 0);
  expectCore(0.0, 3, 0, "000", 0, 0);
  expectCore(-0.0, 3, 1, "000", 0, 0); /* -0.0 is not below 0.0 */
  expectCore(0.0, 0, 1, "", 0, 0);
  expectCore(-1.5, 2, 1, "15", 1, 1);
}

TEST(KivFloatCore, SmallAndLargeValues)
{
  expectCore(0.0004, 2, 0, "", -3, 0); /* last digit before the buffer */
  expectCore(1e308, 17, 1, "10000000000000007", 309, 0);
  expectCore(DBL_MAX, 17, 1, "17976931348623167", 309, 0);
  expectCore(5e-324, 17, 1, "49406564584124659", -323, 0);
  expectCore(DBL_MIN, 17, 1, "22250738585072010", -307, 0);
  expectCore(1e-310, 17, 1, "99999999999999645", -310, 0);
  expectCore(1e22, 17, 1, "10000000000000000", 23, 0);
  expectCore(0.1, 20, 1, "10000000000000000000", 0, 0);
  expectCore(1.0 / 3.0, 20, 1, "33333333333333330373", 0, 0);
  expectCore(DBL_MAX, 0, 0, "17976931348623167" + std::string(292, '0'), 309, 0);
  expectCore(5e-324, 309, 0, "", -323, 0);
  expectCore(1e-300, 309, 0, "1000000000", -299, 0);
}

TEST(KivFloatCore, DigitLimits)
{
  /* Above 310 is 310. */
  expectCore(1.0, 310, 1, "1" + std::string(309, '0'), 1, 0);
  expectCore(1.0, 400, 1, "1" + std::string(309, '0'), 1, 0);
  expectCore(1.0, INT_MAX, 1, "1" + std::string(309, '0'), 1, 0);
  /* The last position exactly at index 311 is rounded ... */
  expectCore(123.0, 308, 0, "123" + std::string(308, '0'), 3, 0);
  /* ... beyond it the string is cut at 311 without rounding. */
  expectCore(123.0, 400, 0, "123" + std::string(308, '0'), 3, 0);
  expectCore(DBL_MAX, 2, 0, "17976931348623167" + std::string(294, '0'), 309, 0);
  expectCore(1e300, 20, 0, "10000000000000007" + std::string(294, '0'), 301, 0);
  /* Negative counts: rounding to tens in the fcvt form, nothing in the
     * ecvt form, and no overflow for the most negative count. */
  expectCore(1234.5, -1, 0, "123", 4, 0);
  expectCore(1235.0, -1, 0, "124", 4, 0);
  expectCore(1234.5, -1, 1, "", 4, 0);
  expectCore(1.0, -2000, 0, "", 1, 0);
  expectCore(1.0, INT_MIN, 0, "", 1, 0);
  expectCore(DBL_MAX, INT_MIN, 0, "", 309, 0);
}

TEST(KivFloatCore, InfinityAndNaN)
{
  expectCore(INFINITY, 5, 1, "inf", 0, 0);
  expectCore(-INFINITY, 5, 0, "inf", 0, 1);
  expectCore(NAN, 5, 1, "nan", 0, 0);
}

TEST(KivFloatCore, NullPointers)
{
  int p = 7;
  int n = 7;
  EXPECT_EQ(nullptr, Float2Str_Core(1.5, nullptr, 3, &p, &n, 1));
  EXPECT_EQ(0, p);
  EXPECT_EQ(0, n);
  char buf[KIV_FLOAT_CORE_BUFFER];
  EXPECT_EQ(buf, Float2Str_Core(-1.5, buf, 3, nullptr, nullptr, 1));
  EXPECT_STREQ("150", buf);
}

/* Where the classic method is accurate enough - 10 significant digits of
 * values within 1e-30..1e30, or 6 decimals of values below 1e9 - its digits
 * equal the exactly rounded ones of printf. */
TEST(KivFloatCore, AgreesWithPrintfAtModeratePrecision)
{
  std::mt19937_64 rng(424242);
  char core[KIV_FLOAT_CORE_BUFFER];
  char ref[64];
  for (int i = 0; i < 5000; i++)
  {
    double mantissa = 1.0 + (double)(rng() >> 11) * 0x1p-53;
    double v = std::ldexp(mantissa, (int)(rng() % 200) - 100);
    int point = 0;
    int negative = 0;
    Float2Str_Core(v, core, 10, &point, &negative, 1);
    std::snprintf(ref, sizeof ref, "%.9e", v);
    std::string digits = std::string(1, ref[0]) + std::string(ref + 2, 9);
    ASSERT_EQ(digits, core) << ref;
    ASSERT_EQ(std::atoi(std::strchr(ref, 'e') + 1) + 1, point) << ref;

    double w = std::ldexp(mantissa, (int)(rng() % 50) - 20);
    Float2Str_Core(w, core, 6, &point, &negative, 0);
    std::snprintf(ref, sizeof ref, "%.6f", w);
    std::string fixed(ref);
    fixed.erase(fixed.find('.'), 1);
    /* printf writes at least "0" before the point; the core writes the
         * digits from the first significant place. */
    std::string expected = point > 0 ? fixed : fixed.substr(1);
    while (point < 0 && !expected.empty() && expected[0] == '0')
    {
      expected.erase(0, 1);
      point++;
    }
    ASSERT_EQ(expected, core) << ref;
  }
}

/* ---- TFloat2Str, KivFloat2StrEx, KivFloat2Str ---- */

/* KivFloat2Str and the two spellings of the general formatter must agree;
 * all are checked under the bounded-writer protocol in both widths. */
void expectFixed(double value, int precision, const std::string &expected)
{
  SCOPED_TRACE("value " + std::to_string(value) + " precision " + std::to_string(precision));
  expectFormat([=](auto *d, unsigned int c) { return KivFloat2Str(value, d, c, precision); }, expected);
  expectFormat([=](auto *d, unsigned int c) { return KivFloat2StrEx(value, d, c, precision, 1, 0, 0, 0); },
               expected);
  expectFormat([=](auto *d, unsigned int c) { return TFloat2Str(value, d, c, precision, KIVFLOAT_FIXED, 0, 0, 0); },
               expected);
}

void expectEx(double value, int precision, int notation, int width, int forceSign, int padding,
              const std::string &expected)
{
  SCOPED_TRACE("value " + std::to_string(value) + " precision " + std::to_string(precision) + " notation " +
               std::to_string(notation) + " width " + std::to_string(width) + " sign " +
               std::to_string(forceSign) + " padding " + std::to_string(padding));
  expectFormat(
    [=](auto *d, unsigned int c) {
      return KivFloat2StrEx(value, d, c, precision, notation, width, forceSign, padding);
    },
    expected);
  expectFormat(
    [=](auto *d, unsigned int c) {
      return TFloat2Str(value, d, c, precision, notation, width, forceSign, padding);
    },
    expected);
}

void expectExp(double value, int precision, const std::string &expected)
{
  expectEx(value, precision, KIVFLOAT_EXPONENT, 0, 0, 0, expected);
}

void expectGeneral(double value, int precision, const std::string &expected)
{
  expectEx(value, precision, KIVFLOAT_GENERAL, 0, 0, 0, expected);
}

TEST(KivFloatFormat, FixedBasics)
{
  expectFixed(3.14159, 2, "3.14");
  expectFixed(3.14159, 0, "3");
  expectFixed(3.14159, 5, "3.14159");
  expectFixed(-42.125, 2, "-42.13");
  expectFixed(123.456, 0, "123");
  expectFixed(1e15, 3, "1000000000000000.000");
  expectFixed(0.5, 3, "0.500");
  expectFixed(1.0, -1, "1.000000");                       /* negative precision: 6 */
  expectFixed(0.25, 400, "0.25" + std::string(307, '0')); /* 309 decimals at most */
}

TEST(KivFloatFormat, FixedRoundingCarries)
{
  expectFixed(9.995, 2, "9.99"); /* below the half in binary */
  expectFixed(9.996, 2, "10.00");
  expectFixed(99.995, 2, "100.00"); /* above the half in binary */
  expectFixed(0.9999999, 5, "1.00000");
  expectFixed(999.9996, 3, "1000.000");
  expectFixed(0.125, 2, "0.13"); /* exact halves round up */
  expectFixed(0.5, 0, "1");
  expectFixed(1.5, 0, "2");
  expectFixed(2.5, 0, "3");
  expectFixed(0.006, 2, "0.01");
  expectFixed(0.0004, 2, "0.00");
  expectFixed(-0.006, 2, "-0.01");
  expectFixed(-0.0004, 2, "-0.00"); /* a negative value that rounds to zero keeps its sign */
}

TEST(KivFloatFormat, FixedZero)
{
  expectFixed(0.0, 2, "0.00");
  expectFixed(0.0, 0, "0");
  expectFixed(-0.0, 2, "-0.00");
  expectFixed(-0.0, 0, "-0");
}

TEST(KivFloatFormat, FixedLargeAndSmall)
{
  expectFixed(1e22, 0, "10000000000000000000000");
  expectFixed(9223372036854775808.0, 0, "9223372036854776000"); /* digits of the classic method */
  expectFixed(DBL_MAX, 0, "17976931348623167" + std::string(292, '0'));
  expectFixed(-DBL_MAX, 2, "-17976931348623167" + std::string(292, '0') + ".00");
  /* Past the 311 digits of the core the places are written as "0". */
  expectFixed(DBL_MAX, 5, "17976931348623167" + std::string(292, '0') + ".00000");
  expectFixed(1e300, 20, "10000000000000007" + std::string(284, '0') + "." + std::string(20, '0'));
  expectFixed(5e-324, 3, "0.000");
  expectFixed(-5e-324, 3, "-0.000");
  expectFixed(5e-324, 309, "0." + std::string(309, '0'));
  expectFixed(1e-300, 309, "0." + std::string(299, '0') + "1" + std::string(9, '0'));
}

TEST(KivFloatFormat, Exponent)
{
  expectExp(9.995, 2, "9.99e+00");
  expectExp(9.996, 2, "1.00e+01");
  expectExp(99.5, 0, "1e+02");
  expectExp(1.0, 0, "1e+00");
  expectExp(0.0, 3, "0.000e+00");
  expectExp(-0.0, 1, "-0.0e+00");
  expectExp(1.5e-5, 3, "1.500e-05");
  expectExp(123456.0, 2, "1.23e+05");
  expectExp(-1234.5, 3, "-1.235e+03");
  expectExp(1e100, 2, "1.00e+100");
  expectExp(1e-100, 2, "1.00e-100");
  expectExp(1e308, 16, "1.0000000000000007e+308");
  expectExp(DBL_MAX, 16, "1.7976931348623167e+308");
  expectExp(5e-324, 16, "4.9406564584124659e-324");
  expectExp(1e-310, 5, "1.00000e-310");
  expectExp(1.0, 309, "1." + std::string(309, '0') + "e+00");
  expectExp(1.0, 5000, "1." + std::string(309, '0') + "e+00");
  expectExp(2.0, -1, "2.000000e+00");
}

TEST(KivFloatFormat, General)
{
  expectGeneral(0.0001, 6, "0.0001");
  expectGeneral(0.00001, 6, "1e-05");
  expectGeneral(123456.0, 6, "123456");
  expectGeneral(1234567.0, 6, "1.23457e+06");
  expectGeneral(100.0, 6, "100");
  expectGeneral(0.5, 0, "0.5");
  expectGeneral(9.9999996, 6, "10");
  expectGeneral(0.0, 6, "0");
  expectGeneral(-0.0, 6, "-0");
  expectGeneral(0.0, 0, "0");
  expectGeneral(1e-300, 3, "1e-300");
  expectGeneral(3.0, 6, "3");
  expectGeneral(1.5, 6, "1.5");
  expectGeneral(99.5, 2, "1e+02");
  expectGeneral(1e15, 6, "1e+15");
  expectGeneral(123456789.0, 12, "123456789");
  expectGeneral(0.1, 17, "0.1");
  expectGeneral(1.0 / 3.0, 6, "0.333333");
  expectGeneral(2.0 / 3.0, 6, "0.666667");
  expectGeneral(12345.678, 8, "12345.678");
  expectGeneral(-1e100, 6, "-1e+100");
  expectGeneral(DBL_MAX, 6, "1.79769e+308");
  expectGeneral(5e-324, 6, "4.94066e-324");
  expectGeneral(1234567.0, -3, "1.23457e+06");
  expectGeneral(120000.0, 2, "1.2e+05");
}

TEST(KivFloatFormat, WidthPaddingAndSign)
{
  expectEx(3.14159, 2, KIVFLOAT_FIXED, 8, 0, KIVFLOAT_PAD_SPACE, "    3.14");
  expectEx(3.14159, 2, KIVFLOAT_FIXED, 8, 0, KIVFLOAT_PAD_ZERO, "00003.14");
  expectEx(3.14159, 2, KIVFLOAT_FIXED, 8, 0, KIVFLOAT_PAD_RIGHT, "3.14    ");
  expectEx(3.14159, 2, KIVFLOAT_FIXED, 8, 1, KIVFLOAT_PAD_SPACE, "   +3.14");
  expectEx(3.14159, 2, KIVFLOAT_FIXED, 8, 1, KIVFLOAT_PAD_ZERO, "+0003.14");
  expectEx(3.14159, 2, KIVFLOAT_FIXED, 8, 1, KIVFLOAT_PAD_RIGHT, "+3.14   ");
  expectEx(-3.14159, 2, KIVFLOAT_FIXED, 8, 1, KIVFLOAT_PAD_ZERO, "-0003.14");
  expectEx(-3.14159, 2, KIVFLOAT_FIXED, 8, 0, KIVFLOAT_PAD_SPACE, "   -3.14");
  expectEx(3.14159, 2, KIVFLOAT_FIXED, 4, 0, KIVFLOAT_PAD_ZERO, "3.14");
  expectEx(3.14159, 2, KIVFLOAT_FIXED, 3, 0, KIVFLOAT_PAD_SPACE, "3.14");
  expectEx(3.14159, 2, KIVFLOAT_FIXED, -8, 0, KIVFLOAT_PAD_RIGHT, "3.14");
  expectEx(0.0, 1, KIVFLOAT_FIXED, 0, 1, 0, "+0.0");
  expectEx(-0.0, 1, KIVFLOAT_FIXED, 0, 1, 0, "-0.0");
  expectEx(1234.5, 2, KIVFLOAT_EXPONENT, 12, 0, KIVFLOAT_PAD_ZERO, "00001.23e+03");
  expectEx(1234.5, 2, KIVFLOAT_EXPONENT, 12, 1, KIVFLOAT_PAD_RIGHT, "+1.23e+03   ");
  expectEx(1234.5, 6, KIVFLOAT_GENERAL, 8, 1, KIVFLOAT_PAD_ZERO, "+01234.5");
  /* Unknown notation is fixed, unknown padding is spaces. */
  expectEx(1.5, 1, 7, 5, 0, 9, "  1.5");
  expectEx(1.5, 1, -1, 5, 0, -1, "  1.5");
}

TEST(KivFloatFormat, InfinityAndNaN)
{
  expectFixed(INFINITY, 2, "inf");
  expectFixed(-INFINITY, 2, "-inf");
  expectExp(INFINITY, 2, "inf");
  expectGeneral(-INFINITY, 2, "-inf");
  expectEx(INFINITY, 2, KIVFLOAT_FIXED, 0, 1, 0, "+inf");
  expectEx(INFINITY, 2, KIVFLOAT_FIXED, 6, 1, KIVFLOAT_PAD_ZERO, "  +inf");
  expectEx(-INFINITY, 2, KIVFLOAT_FIXED, 6, 0, KIVFLOAT_PAD_RIGHT, "-inf  ");
  expectFixed(NAN, 2, "nan");
  expectFixed(-NAN, 2, "nan");
  expectFixed(std::copysign(NAN, -1.0), 2, "nan");
  expectEx(NAN, 2, KIVFLOAT_EXPONENT, 0, 1, 0, "nan");
  expectEx(NAN, 2, KIVFLOAT_GENERAL, 5, 1, KIVFLOAT_PAD_ZERO, "  nan");
  expectEx(NAN, 2, KIVFLOAT_FIXED, 5, 0, KIVFLOAT_PAD_RIGHT, "nan  ");
}

TEST(KivFloatFormat, HugeWidthIsCountedNotWritten)
{
  char buf[16 + 4];
  std::memset(buf, 'x', sizeof buf);
  EXPECT_EQ(1000001u, KivFloat2StrEx(1.5, buf, 16, 1, KIVFLOAT_FIXED, 1000000, 0, KIVFLOAT_PAD_SPACE));
  EXPECT_EQ(std::string(15, ' '), std::string(buf));
  EXPECT_EQ('x', buf[16]);
  EXPECT_EQ(2147483648u, KivFloat2StrEx(1.5, (char *)0, 0, 1, KIVFLOAT_FIXED, INT_MAX, 0, KIVFLOAT_PAD_ZERO));
  wchar_t wbuf[8];
  EXPECT_EQ(2147483648u, KivFloat2StrEx(-1.5, wbuf, 8, 1, KIVFLOAT_FIXED, INT_MAX, 0, KIVFLOAT_PAD_ZERO));
  EXPECT_EQ(std::wstring(L"-000000"), std::wstring(wbuf));
  std::memset(buf, 'x', sizeof buf);
  EXPECT_EQ(1000001u, KivFloat2StrEx(1.5, buf, 16, 1, KIVFLOAT_FIXED, 1000000, 0, KIVFLOAT_PAD_RIGHT));
  EXPECT_EQ("1.5" + std::string(12, ' '), std::string(buf));
}

TEST(KivFloatFormat, Float2StrIsFixedWithDefaults)
{
  const double values[] = {0.0, -0.0, 1.0, -2.5, 3.14159, 1e-7, 6.02214076e23, DBL_MAX, -DBL_MIN,
                           INFINITY, NAN};
  for (double v : values)
  {
    for (int precision = -1; precision <= 12; precision++)
    {
      char a[700];
      char b[700];
      wchar_t wa[700];
      wchar_t wb[700];
      EXPECT_EQ(KivFloat2StrEx(v, b, 700, precision, 1, 0, 0, 0), KivFloat2Str(v, a, 700, precision));
      EXPECT_STREQ(b, a);
      EXPECT_EQ(KivFloat2StrEx(v, wb, 700, precision, 1, 0, 0, 0), KivFloat2Str(v, wa, 700, precision));
      EXPECT_STREQ(wb, wa);
    }
  }
}

TEST(KivFloatFormat, ExplicitInstantiations)
{
  char buf[32];
  wchar_t wbuf[32];
  EXPECT_EQ(4u, TFloat2Str<char>(2.25, buf, 32, 2, KIVFLOAT_FIXED, 0, 0, 0));
  EXPECT_STREQ("2.25", buf);
  EXPECT_EQ(8u, TFloat2Str<wchar_t>(2.25, wbuf, 32, 2, KIVFLOAT_EXPONENT, 0, 0, 0));
  EXPECT_STREQ(L"2.25e+00", wbuf);
  EXPECT_EQ(5u, TFloat2Str<char>(2.25, 0, 0, 2, KIVFLOAT_FIXED, 0, 0, 0));
}

} // namespace
