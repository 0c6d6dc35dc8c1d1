#!/bin/sh
# sign_clients.sh OUTPUT CLIENT INCOMPLETE LIBRARY   makes the new folder OUTPUT with the client libraries of the tests,
# good and bad, two signed copies of our own library, and the certificates of the authorities that the tests trust:
# authority.cer and second_authority.cer.
set -eu
config=$(dirname "$0")/sign_clients.cnf
output=$1 client=$2 incomplete=$3 library=$4
mkdir "$output"
mkdir "$output/ca"
cd "$output/ca"
exec 3>&2 >log 2>&1
trap '[ $? -eq 0 ] || cat log >&3' EXIT
touch index
echo 1000 >serial
authority() { # NAME
  openssl req -x509 -config "$config" -extensions authority -newkey rsa:2048 -nodes -subj "/CN=$1" -days 3650 \
    -keyout "$1.key" -out "$1.pem"
}
certificate() { # NAME AUTHORITY USE END [PUBLISHER]
  openssl req -config "$config" -newkey rsa:2048 -nodes -subj "/CN=${5:-$1}" -keyout "$1.key" -out "$1.csr"
  openssl ca -batch -config "$config" -extensions "$3" -cert "$2.pem" -keyfile "$2.key" -startdate 20200101000000Z \
    -enddate "$4" -in "$1.csr" -out "$1.only.pem" -notext
  cat "$1.only.pem" "$2.pem" >"$1.pem"
}
sign() { # CERTIFICATES KEY FILE NAME
  osslsigncode sign -certs "$1" -key "$2" -h sha256 -in "$3" -out "../$4.dll"
}

authority known
authority second
authority stranger
end=20450101000000Z
certificate product known code "$end"
certificate old known code 20210101000000Z
certificate website known server "$end"
certificate foreign stranger code "$end"
certificate other known code "$end"
certificate namesake second code "$end" product
openssl x509 -in known.pem -outform der -out ../authority.cer
openssl x509 -in second.pem -outform der -out ../second_authority.cer

cp "$client" ../unsigned.dll
sign product.pem product.key "$client" trusted
sign product.pem product.key "$incomplete" incomplete
sign old.pem old.key "$client" expired
sign website.pem website.key "$client" wrong_use
sign foreign.pem foreign.key "$client" foreign
sign other.pem other.key "$client" of_other_publisher
sign namesake.pem namesake.key "$client" of_other_authority
sign product.pem product.key "$library" varnel_signed
sign foreign.pem foreign.key "$library" varnel_foreign
sign foreign.only.pem foreign.key "$client" foreign_without_chain
cp ../trusted.dll ../tampered.dll
printf '\125' | dd of=../tampered.dll bs=1 seek=$(($(stat -c %s ../trusted.dll) / 2)) conv=notrunc # among the sections
