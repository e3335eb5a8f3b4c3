#!/bin/bash
# Sets a directory up through cn=config, as docs/directory.md says, on a server
# that is configured like one fresh from Debian's package.
#
#   config_test.sh PROJECT_FOLDER
set -euo pipefail

readonly project=$1
export LDAPNOINIT=1
export PATH=$PATH:/usr/sbin:/sbin

command -v slapd >/dev/null || {
  echo "slapd is not installed"
  exit 77
}

folder=$(mktemp -d /tmp/configapi-config.XXXXXX)
readonly folder
readonly url=ldapi://${folder//\//%2F}%2Fldapi
server=''

leave() {
  if [[ -n $server ]]; then
    kill "$server"
    wait "$server" || true
  fi
  rm -rf "$folder"
}
trap leave EXIT

# as NAME PROGRAM ARGUMENT... where everyone's password is "secret".
as() {
  local name=$1 program=$2
  shift 2
  "$program" -x -H "$url" -D "$name" -w secret "$@"
}

initial_configuration() {
  cat <<END
dn: cn=config
objectClass: olcGlobal
cn: config
olcPidFile: $folder/pid
olcArgsFile: $folder/args

dn: cn=module{0},cn=config
objectClass: olcModuleList
cn: module
olcModulePath: /usr/lib/ldap
olcModuleLoad: back_mdb

dn: cn=schema,cn=config
objectClass: olcSchemaConfig
cn: schema

END
  local name
  for name in core cosine nis inetorgperson; do
    cat "/etc/ldap/schema/$name.ldif"
    echo
  done
  cat <<END
dn: olcDatabase=config,cn=config
objectClass: olcDatabaseConfig
olcDatabase: config
olcRootDN: cn=admin,cn=config
olcRootPW: secret

dn: olcDatabase=mdb,cn=config
objectClass: olcDatabaseConfig
objectClass: olcMdbConfig
olcDatabase: mdb
olcSuffix: dc=nodomain
olcDbDirectory: $folder/nodomain
END
}

start_server() {
  mkdir "$folder"/{config,nodomain,data,data-log}
  initial_configuration | slapadd -n 0 -F "$folder/config"
  (
    ulimit -Sn 1024
    exec slapd -F "$folder/config" -h "$url" -d none -s 0
  ) >"$folder/log" 2>&1 &
  server=$!
  local tries=100
  until as cn=admin,cn=config ldapwhoami >/dev/null 2>&1; do
    if ! kill -0 "$server" || ((tries-- == 0)); then
      cat "$folder/log"
      exit 1
    fi
    sleep 0.1
  done
}

load_ours() {
  as cn=admin,cn=config ldapadd -f "$project/schema/qxconfig.ldif"
  sed -e "s|/var/lib/ldap/qxconfig|$folder/data|" -e 's|{SSHA}.*|secret|' \
    "$project/docs/database.ldif.example" |
    as cn=admin,cn=config ldapadd
  sed 's|{SSHA}.*|secret|' "$project/docs/gateway.ldif.example" |
    as uid=admin ldapadd
}

# A later schema has one key more; the server is not stopped for it.
update_schema() {
  local name
  name=$(as cn=admin,cn=config ldapsearch -LLL -b cn=schema,cn=config \
    '(cn=*qxconfig)' dn | sed -n 's/^dn: //p')
  sed -e "s/^olcObjectClasses:/olcAttributeTypes: ( 2.25.1.1 NAME 'NewKey' \
 SUP qxSetting )\n&/" -e 's/^  MAY ( /&NewKey $ /' \
    "$project/schema/qxconfig.ldif" |
    sed -e '/^#/d' -e '/^objectClass:/d' -e '/^cn:/d' \
      -e "s/^dn:.*/dn: $name\nchangetype: modify\nreplace: olcAttributeTypes/" \
      -e 's/^olcObjectClasses:/-\nreplace: olcObjectClasses\n&/' |
    as cn=admin,cn=config ldapmodify
  printf 'dn: cn=Ldap\nchangetype: modify\nadd: NewKey\nNewKey: 1\n' |
    as uid=gateway ldapmodify
}

check_access() {
  printf 'dn: cn=Ldap\nobjectClass: qxconfig\nPassword: hidden\n' |
    as uid=gateway ldapadd
  as uid=gateway ldapsearch -LLL -b '' '(cn=Ldap)' | grep -x 'Password: hidden'
  as uid=gateway ldapsearch -LLL -b cn=log '(reqDN=cn=Ldap)' |
    grep -x 'reqMod: Password:+ hidden'
  local base
  for base in '' cn=log; do
    if ldapsearch -x -H "$url" -LLL -b "$base" | grep .; then
      echo "settings are shown to everybody"
      return 1
    fi
  done
}

start_server
load_ours
check_access
update_schema
