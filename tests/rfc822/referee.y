/*
 * The address grammar as it is defined: 31 productions, LALR(1), a conflict
 * settled by the shift or by the earlier production. byacc reads no token in a
 * state whose only action is one reduction, and in all others reduces only on
 * a token that the grammar allows there; both belong to the definition.
 */
%{
#include <utility>

#include "referee.h"

using namespace referee;
%}

%token COLON 257 COMMA 258 SEMICOLON 259 LANGLE 260 RANGLE 261 AT 262 DOT 263
%token ATOM 264 QSTRING 265 DOMLIT 266
%expect 1
%expect-rr 4
%start address_list

%%

address_list
  : address
  | error                       { return 1; }
  | address_list COMMA address
  ;

address
  : word                        { parts.local = *$1;
                                  if (!fits()) return 1;
                                  parts.canonical = *$1; return 0; }
  | mailbox                     { if (!fits()) return 1;
                                  parts.canonical = *$1; return 0; }
  | group_list SEMICOLON        { parts.canonical += ";"; return 2; }
  ;

group_list
  : phrase_part COLON mailbox   { if (!fits()) return 1;
                                  begin_group(*$1); add_to_group(*$3); }
  | group_list COMMA mailbox    { if (!fits()) return 1;
                                  add_to_group(*$3); }
  ;

mailbox
  : addr_spec
  | phrase_part route_addr      { $$ = $2; }
  | route_addr
  ;

route_addr
  : LANGLE route COLON addr_spec RANGLE
                                { $$ = route_address(*$4); }
  | route COLON addr_spec       { $$ = route_address(*$3); }
  | LANGLE addr_spec RANGLE     { $$ = $2; }
  | LANGLE local_part RANGLE    { $$ = keep(parts.local); }
  ;

addr_spec
  : local_part AT domain_part   { parts.spec = parts.local + "@" + *$3;
                                  $$ = keep(parts.spec); }
  | local_part                  { $$ = keep(parts.local); }
  ;

local_part
  : word                        { parts.local = *$1; }
  | local_part DOT word         { parts.local += "." + *$3; }
  | local_part DOT              { parts.local += "."; }
  ;

domain_part
  : subdomain                   { parts.domain = *$1; }
  | domain_part DOT subdomain   { parts.domain += "." + *$3;
                                  $$ = keep(parts.domain); }
  ;

phrase_part
  : word                        { parts.phrase = *$1; }
  | phrase_part word            { parts.phrase += " " + *$2;
                                  $$ = keep(parts.phrase); }
  ;

word
  : ATOM                        { parts.word = *$1; }
  | QSTRING                     { parts.word = *$1; }
  ;

subdomain
  : ATOM
  | DOMLIT
  ;

route
  : AT domain_part              { parts.route = "@" + std::exchange(parts.domain, {}); }
  | route COMMA AT domain_part  { parts.route += ",@" + std::exchange(parts.domain, {}); }
  | route COLON AT domain_part  { parts.route += ":@" + std::exchange(parts.domain, {}); }
  ;
