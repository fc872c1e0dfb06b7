#!/bin/sh
# not_fused_test.sh OBJDUMP OBJECT...: no stage may fuse a product and a sum, which would round once
# instead of twice. 32-bit ARM's vmla is none of those: it rounds twice.
objdump=$1
shift
products=0
for object in "$@"; do
    code=$("$objdump" -d --no-show-raw-insn "$object") || exit 1
    if echo "$code" | grep -E '[[:space:]](vfn?m(add|sub)|fml[as]|fn?m(add|sub)|vfn?m[as]\.)'; then
        echo "$object fuses"
        exit 1
    fi
    products=$((products + $(echo "$code" | grep -cE '[[:space:]](v?mul[ps]s|fmul|vn?m[ul][la])')))
done
# The check itself must have seen the arithmetic.
echo "$# objects, $products products"
[ "$products" -gt 50 ]
